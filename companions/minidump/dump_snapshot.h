#ifndef WRENFALL_COMPANIONS_MINIDUMP_DUMP_SNAPSHOT_H_
#define WRENFALL_COMPANIONS_MINIDUMP_DUMP_SNAPSHOT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "minidump/memory_map.h"
#include "minidump/minidump_layout.h"

namespace wrenfall::minidump {

struct DumpThread {
  uint32_t id = 0;
  std::string name;  // UTF-8, empty when the dump names none
  MemoryRange stack;
  DumpLocation registers;  // a CONTEXT of the system
};

struct DumpModule {
  uint64_t base = 0;
  uint32_t size = 0;
  uint32_t time_stamp = 0;  // with the size it tells one build of the file from another
  std::string path;         // UTF-8, as it was on the machine of the crash
  std::string version;      // "1.2.3.4", empty when the file has none

  bool holds(uint64_t address) const { return address >= base && address - base < size; }
  std::string name() const;  // the path's last part
};

struct DumpException {
  uint32_t thread_id = 0;
  uint32_t code = 0;
  uint64_t address = 0;
  DumpLocation registers;

  // Of a dump on demand: the code and the address are not of an exception, the rest is true.
  bool is_simulated() const { return code == kSimulatedExceptionCode; }
};

// What a dump holds of the process that it is of: what is needed to look at its stacks.
struct DumpSnapshot {
  std::vector<DumpThread> threads;
  std::vector<DumpModule> modules;  // in the order of their addresses, without overlap
  std::vector<MemoryRange> memory;  // of the memory lists and the stacks
  std::optional<DumpException> exception;
  bool is_x64 = true;                 // false for a process of another processor
  std::vector<std::string> warnings;  // what is missing or damaged, one sentence each

  // Null when the address lies in no module.
  const DumpModule* module_at(uint64_t address) const;
  const DumpThread* thread_of_id(uint32_t id) const;
};

// Nothing when the file is no minidump. A part that is missing or damaged costs that part and a warning
// alone. The dump may contain anything: every offset, length and count is checked, and the lists are
// limited.
std::optional<DumpSnapshot> read_snapshot(const DumpBytes& dump);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_DUMP_SNAPSHOT_H_
