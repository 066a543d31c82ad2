#include <signal.h>

#include "monitor/watched_process.h"
#include "tests/native/process_times_posix.h"

namespace wrenfall::monitor {

// No test waits for the end of a host.
struct ProcessExit::Process {};
ProcessExit::ProcessExit(const ProcessIdentity&) {}
ProcessExit::~ProcessExit() = default;
void ProcessExit::wait(std::chrono::milliseconds) const {}

bool is_still_running(const ProcessIdentity& identity) {
  if (!is_process_running(identity.process_id)) return false;
  const uint64_t time = process_start_time(static_cast<pid_t>(identity.process_id));
  return time == 0 || identity.start_time == 0 || time == identity.start_time;
}

std::optional<bool> is_under_debugger(const ProcessIdentity&) { return false; }

bool terminate_process(const ProcessIdentity& identity) {
  if (identity.start_time == 0 || !is_process_running(identity.process_id)) return false;
  const auto process = static_cast<pid_t>(identity.process_id);
  return process_start_time(process) == identity.start_time && kill(process, SIGKILL) == 0;
}

}  // namespace wrenfall::monitor
