#include <signal.h>

#include "monitor/watched_process.h"
#include "tests/native/process_times_posix.h"

namespace wrenfall::monitor {

bool is_still_running(const ProcessIdentity& session) {
  if (!is_process_running(session.process_id)) return false;
  const uint64_t time = process_start_time(static_cast<pid_t>(session.process_id));
  return time == 0 || session.start_time == 0 || time == session.start_time;
}

bool terminate_process(const ProcessIdentity& session) {
  if (session.start_time == 0 || !is_process_running(session.process_id)) return false;
  const auto process = static_cast<pid_t>(session.process_id);
  return process_start_time(process) == session.start_time && kill(process, SIGKILL) == 0;
}

}  // namespace wrenfall::monitor
