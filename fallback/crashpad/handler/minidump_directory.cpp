#include "handler/minidump_directory.h"

#include <array>

namespace crashpad::internal {
namespace {

constexpr uint32_t kSignature = 0x504D444D;  // "MDMP"
constexpr uint32_t kMaxStreams = 1024;
constexpr uint32_t kMemoryListStream = 5;
constexpr uint32_t kMemory64ListStream = 9;

template <typename T>
bool read_value(const ReadFileAt& read_file, uint64_t offset, T* value) {
  return read_file(offset, value, sizeof(*value));
}

bool fits(uint64_t offset, uint64_t size, uint64_t file_size) {
  return offset <= file_size && size <= file_size - offset;
}

// Each entry: u64 address, u32 size, u32 rva.
bool memory_list_is_whole(const ReadFileAt& read_file, uint64_t file_size,
                          const MinidumpStream& stream) {
  uint32_t count = 0;
  if (!read_value(read_file, stream.rva, &count)) return false;
  for (uint32_t i = 0; i < count; ++i) {
    std::array<uint32_t, 2> size_and_rva = {};
    if (!read_value(read_file, stream.rva + 4 + uint64_t{16} * i + 8, &size_and_rva) ||
        !fits(size_and_rva[1], size_and_rva[0], file_size)) {
      return false;
    }
  }
  return true;
}

// Each entry: u64 address, u64 size; the memory itself lies in one piece from `base` on.
bool memory64_list_is_whole(const ReadFileAt& read_file, uint64_t file_size,
                            const MinidumpStream& stream) {
  std::array<uint64_t, 2> count_and_base = {};
  if (!read_value(read_file, stream.rva, &count_and_base)) return false;
  uint64_t end = count_and_base[1];
  for (uint64_t i = 0; i < count_and_base[0]; ++i) {
    uint64_t size = 0;
    if (!read_value(read_file, stream.rva + 16 + 16 * i + 8, &size) ||
        !fits(end, size, file_size)) {
      return false;
    }
    end += size;
  }
  return true;
}

}  // namespace

std::optional<std::vector<MinidumpStream>> read_minidump_directory(const ReadFileAt& read_file) {
  std::array<uint32_t, 4> header =
      {};  // Signature, version, number of streams, directory's offset.
  if (!read_value(read_file, 0, &header) || header[0] != kSignature || header[2] > kMaxStreams) {
    return std::nullopt;
  }
  std::vector<MinidumpStream> streams;
  for (uint32_t i = 0; i < header[2]; ++i) {
    const uint64_t entry_offset = header[3] + uint64_t{12} * i;
    std::array<uint32_t, 3> entry = {};  // Type, size, offset.
    if (!read_value(read_file, entry_offset, &entry)) return std::nullopt;
    streams.push_back({entry[0], entry[1], entry[2], entry_offset});
  }
  return streams;
}

bool minidump_is_whole(const ReadFileAt& read_file, uint64_t file_size,
                       const std::vector<MinidumpStream>& streams) {
  for (const MinidumpStream& stream : streams) {
    if (!fits(stream.rva, stream.size, file_size)) return false;
    if (stream.type == kMemoryListStream && stream.size != 0 &&
        !memory_list_is_whole(read_file, file_size, stream)) {
      return false;
    }
    if (stream.type == kMemory64ListStream && stream.size != 0 &&
        !memory64_list_is_whole(read_file, file_size, stream)) {
      return false;
    }
  }
  return true;
}

}  // namespace crashpad::internal
