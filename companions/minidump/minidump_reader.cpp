#include "minidump/minidump_reader.h"

#include <algorithm>
#include <array>
#include <vector>

namespace wrenfall::minidump {
namespace {

constexpr uint32_t kSignature = 0x504D444D;  // "MDMP"
constexpr uint32_t kVersion = 0xA793;        // the lower half; the upper one is the writer's own
constexpr uint32_t kMaxStreams = 1024;
constexpr uint64_t kMaxMemoryRanges = uint64_t{4} * 1024 * 1024;
constexpr size_t kStreamEntryBytes = 12;
constexpr size_t kMemoryRangeBytes = 16;
constexpr size_t kRangesPerRead = 4096;

enum StreamType : uint32_t {
  kMemoryList = 5,
  kException = 6,
  kMemory64List = 9,
};

struct Stream {
  uint32_t type = 0;
  DumpLocation place;
};

struct Header {
  uint32_t stream_count = 0;
  uint32_t directory_rva = 0;
  uint32_t time_stamp = 0;
};

std::optional<Header> read_header(const DumpBytes& dump) {
  std::array<uint8_t, 32> bytes{};
  if (!dump.read(0, bytes.data(), bytes.size())) return std::nullopt;
  if (u32_at(bytes.data(), 0) != kSignature) return std::nullopt;
  if ((u32_at(bytes.data(), 4) & 0xFFFF) != kVersion) return std::nullopt;
  return Header{u32_at(bytes.data(), 8), u32_at(bytes.data(), 12), u32_at(bytes.data(), 20)};
}

// False when the directory, or a stream that it names, is not wholly in the file.
bool read_directory(const DumpBytes& dump, const Header& header, std::vector<Stream>& streams) {
  if (header.stream_count > kMaxStreams) return false;
  std::vector<uint8_t> bytes(header.stream_count * kStreamEntryBytes);
  if (!bytes.empty() && !dump.read(header.directory_rva, bytes.data(), bytes.size())) return false;
  for (size_t i = 0; i < header.stream_count; ++i) {
    const size_t entry = i * kStreamEntryBytes;
    const Stream stream{u32_at(bytes.data(), entry), location_at(bytes.data(), entry + 4)};
    if (!dump.holds(stream.place.rva, stream.place.size)) return false;
    streams.push_back(stream);
  }
  return true;
}

// The first stream of a type; null when there is none.
const Stream* find_stream(const std::vector<Stream>& streams, uint32_t type) {
  const auto found = std::find_if(streams.begin(), streams.end(),
                                  [type](const Stream& stream) { return stream.type == type; });
  return found == streams.end() ? nullptr : &*found;
}

// Calls `check(entry)` for each 16-byte entry of a list of memory ranges that begins at `offset`;
// false as soon as one call returns false, or when the list is not wholly in the file.
template <typename Check>
bool check_ranges(const DumpBytes& dump, uint64_t offset, uint64_t count, Check check) {
  if (count > kMaxMemoryRanges) return false;
  if (!dump.holds(offset, count * kMemoryRangeBytes)) return false;
  std::vector<uint8_t> bytes;
  while (count > 0) {
    const auto piece = static_cast<size_t>(std::min<uint64_t>(count, kRangesPerRead));
    bytes.resize(piece * kMemoryRangeBytes);
    if (!dump.read(offset, bytes.data(), bytes.size())) return false;
    for (size_t i = 0; i < piece; ++i) {
      if (!check(bytes.data() + i * kMemoryRangeBytes)) return false;
    }
    offset += bytes.size();
    count -= piece;
  }
  return true;
}

// A list of memory ranges, each with its own place in the file.
bool memory_is_whole(const DumpBytes& dump, const Stream* list) {
  if (list == nullptr) return true;
  std::array<uint8_t, 4> head{};
  if (!dump.read(list->place, head)) return false;
  const uint64_t count = u32_at(head.data(), 0);
  if (count * kMemoryRangeBytes > list->place.size - head.size()) return false;
  return check_ranges(dump, uint64_t{list->place.rva} + head.size(), count,
                      [&dump](const uint8_t* range) {
                        const DumpLocation place = location_at(range, 8);
                        return dump.holds(place.rva, place.size);
                      });
}

// The ranges of full memory follow one another from a base offset. A dump that met a full disk is cut
// off here.
bool memory64_is_whole(const DumpBytes& dump, const Stream* list) {
  if (list == nullptr) return true;
  std::array<uint8_t, 16> head{};
  if (!dump.read(list->place, head)) return false;
  const uint64_t count = u64_at(head.data(), 0);
  if (count > (list->place.size - head.size()) / kMemoryRangeBytes) return false;
  uint64_t position = u64_at(head.data(), 8);
  return check_ranges(dump, uint64_t{list->place.rva} + head.size(), count,
                      [&dump, &position](const uint8_t* range) {
                        const uint64_t size = u64_at(range, 8);
                        if (!dump.holds(position, size)) return false;
                        position += size;
                        return true;
                      });
}

bool read_exception(const DumpBytes& dump, const Stream* stream, DumpFacts& facts) {
  if (stream == nullptr) return true;
  // The thread's id and a filler come before the exception record, whose first member is the code.
  std::array<uint8_t, 12> head{};
  if (!dump.read(stream->place, head)) return false;
  facts.exception_code = u32_at(head.data(), 8);
  return true;
}

}  // namespace

std::optional<DumpFacts> read_minidump(const ReadAt& read, uint64_t size) {
  const DumpBytes dump(read, size);
  const auto header = read_header(dump);
  std::vector<Stream> streams;
  if (!header || !read_directory(dump, *header, streams)) return std::nullopt;
  if (!memory_is_whole(dump, find_stream(streams, kMemoryList))) return std::nullopt;
  if (!memory64_is_whole(dump, find_stream(streams, kMemory64List))) return std::nullopt;

  DumpFacts facts;
  facts.time_stamp = header->time_stamp;
  if (!read_exception(dump, find_stream(streams, kException), facts)) return std::nullopt;
  const Stream* const annotations = find_stream(streams, kAnnotationStreamType);
  if (annotations != nullptr &&
      !read_annotation_stream(dump, annotations->place, facts.annotations)) {
    return std::nullopt;
  }
  return facts;
}

}  // namespace wrenfall::minidump
