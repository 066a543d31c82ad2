#ifndef WRENFALL_COMPANIONS_MONITOR_WATCHED_PROCESS_H_
#define WRENFALL_COMPANIONS_MONITOR_WATCHED_PROCESS_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "support/process.h"

namespace wrenfall::monitor {

// Keeps a process open, so that its exit code can be read after its end.
class ProcessExit {
 public:
  explicit ProcessExit(const ProcessIdentity& identity);
  ~ProcessExit();
  ProcessExit(const ProcessExit&) = delete;
  ProcessExit& operator=(const ProcessExit&) = delete;

  // Nothing while the process runs, or when it may not be queried.
  std::optional<uint32_t> exit_code() const;

  // When the process ended, in milliseconds since 1970; 0 when that cannot be read.
  int64_t end_ms() const;

  // Waits for the end, for as long as that.
  void wait(std::chrono::milliseconds patience) const;

 private:
  struct Process;
  const std::unique_ptr<Process> process_;
};

// Whether the user is being logged off or the system shuts down, which ends every process.
bool is_system_ending();

// Whether that process runs; a later process with the same id does not count. A process that may not
// be queried counts as running.
bool is_still_running(const ProcessIdentity& identity);

// Whether a debugger is attached to the process; nothing when that cannot be found out.
std::optional<bool> is_under_debugger(const ProcessIdentity& identity);

// Ends the process with exit code 1. False when it is not running, cannot be told from another with
// the same id, or may not be ended.
bool terminate_process(const ProcessIdentity& identity);

// Those of the processes all of whose threads are suspended. One that has ended or may not be opened is
// none of them. Looks at all threads of the system, once however many processes are asked about.
std::vector<ProcessIdentity> frozen_processes(const std::vector<ProcessIdentity>& processes);

// Resumes the process when all of its threads are suspended, which is how a capture handler may leave it.
// True when the process was resumed. When the handler was killed in the middle of a dump, a thread that
// alone stays suspended is resumed too.
bool resume_frozen_process(const ProcessIdentity& identity, bool handler_has_ended);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_WATCHED_PROCESS_H_
