#ifndef WRENFALL_COMPANIONS_MINIDUMP_MEMORY_MAP_H_
#define WRENFALL_COMPANIONS_MINIDUMP_MEMORY_MAP_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "minidump/minidump_layout.h"
#include "minidump/stream_directory.h"

namespace wrenfall::minidump {

// A piece of the crashed process's memory that lies in the dump.
struct MemoryRange {
  uint64_t address = 0;
  uint64_t size = 0;
  uint64_t offset = 0;  // of its bytes, from the start of the file
};

// The memory of a crashed process, as far as a dump holds it. Constant after construction.
class MemoryMap {
 public:
  // The ranges may be in any order, overlap, and be wrong in any way: what does not lie in the dump, or
  // would wrap around the end of the address space, is left out.
  MemoryMap(const DumpBytes& dump, std::vector<MemoryRange> ranges);

  // Copies what the dump holds from an address on, up to `size` bytes. Returns how many bytes those are.
  size_t read(uint64_t address, void* buffer, size_t size) const;

 private:
  const DumpBytes& dump_;
  std::vector<MemoryRange> ranges_;  // in the order of their addresses, without overlap
};

// The ranges of both of a dump's memory lists. A list that is damaged is left out, and `damaged` set.
std::vector<MemoryRange> read_memory_ranges(const DumpBytes& dump, const StreamDirectory& directory,
                                            bool& damaged);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_MEMORY_MAP_H_
