#ifndef WRENFALL_COMPANIONS_MONITOR_RUN_END_H_
#define WRENFALL_COMPANIONS_MONITOR_RUN_END_H_

#include <cstdint>
#include <optional>

#include "report/store/last_run.h"

namespace wrenfall::monitor {

// What a monitor knows of its host when the capture handler has ended.
struct HostFacts {
  std::optional<uint32_t> exit_code;  // nothing while it still runs, or may not be queried
  int64_t end_ms = 0;                 // since 1970; 0 when it is not known
  bool has_crashed = false;           // a dump of a crash has come
  uint32_t crash_code = 0;            // of that dump
  uint32_t crash_time = 0;            // of that dump, seconds since 1970; 0 when it is not known
  bool was_terminated = false;        // by the monitor, because of a hang
  bool system_ends = false;           // the user is logged off, or the system shuts down
};

// How the run ended. A handler that ended before its host leaves that unknown. A process that the system
// ends may get an exit code that looks like that of a crash, so it counts as ended. A run that crashed ended
// with the crash, however long its process was kept for the dump.
RunEnd run_end(const HostFacts& facts);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_RUN_END_H_
