#include "minidump/minidump_reader.h"

#include <algorithm>
#include <array>
#include <vector>

#include "minidump/stream_directory.h"

namespace wrenfall::minidump {
namespace {

constexpr uint64_t kMaxMemoryRanges = uint64_t{4} * 1024 * 1024;
constexpr size_t kMemoryRangeBytes = 16;
constexpr size_t kRangesPerRead = 4096;

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
  facts.crash_code = u32_at(head.data(), 8);
  return true;
}

std::optional<DumpFacts> read_facts(const DumpBytes& dump) {
  const auto directory = read_stream_directory(dump);
  if (!directory) return std::nullopt;
  if (!memory_is_whole(dump, directory->find(kMemoryList))) return std::nullopt;
  if (!memory64_is_whole(dump, directory->find(kMemory64List))) return std::nullopt;

  DumpFacts facts;
  facts.time_stamp = directory->time_stamp;
  facts.type_flags = directory->type_flags;
  if (!read_exception(dump, directory->find(kException), facts)) return std::nullopt;
  const Stream* const annotations = directory->find(kAnnotationStreamType);
  if (annotations != nullptr &&
      !read_annotation_stream(dump, annotations->place, facts.annotations)) {
    return std::nullopt;
  }
  return facts;
}

}  // namespace

std::optional<DumpFacts> read_minidump(const ReadAt& read, uint64_t size) {
  return read_facts(DumpBytes(read, size));
}

bool is_cut_short(const ReadAt& read, uint64_t size) {
  const DumpBytes dump(read, size);
  std::array<uint8_t, 4> signature{};
  if (!dump.read(0, signature.data(), signature.size())) return dump.ends_early();
  if (u32_at(signature.data(), 0) == 0) return true;
  return u32_at(signature.data(), 0) == kSignature && !read_facts(dump) && dump.ends_early();
}

}  // namespace wrenfall::minidump
