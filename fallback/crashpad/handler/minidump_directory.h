#ifndef WRENFALL_FALLBACK_HANDLER_MINIDUMP_DIRECTORY_H_
#define WRENFALL_FALLBACK_HANDLER_MINIDUMP_DIRECTORY_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace crashpad::internal {

// Copies `size` bytes at `offset` of the file to `buffer`; true only when it copied all of them.
using ReadFileAt = std::function<bool(uint64_t offset, void* buffer, size_t size)>;

struct MinidumpStream {
  uint32_t type;
  uint32_t size;
  uint32_t rva;
  uint64_t entry_offset;  // Of this stream's directory entry in the file.
};

// The streams of a dump; nothing when the header is not that of a dump, or the directory is not whole.
std::optional<std::vector<MinidumpStream>> read_minidump_directory(const ReadFileAt& read_file);

// True when the file is long enough for every stream and for all memory in the memory lists. The
// system's writer may report success although the disk became full while it wrote.
bool minidump_is_whole(const ReadFileAt& read_file, uint64_t file_size,
                       const std::vector<MinidumpStream>& streams);

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_HANDLER_MINIDUMP_DIRECTORY_H_
