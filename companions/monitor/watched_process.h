#ifndef WRENFALL_COMPANIONS_MONITOR_WATCHED_PROCESS_H_
#define WRENFALL_COMPANIONS_MONITOR_WATCHED_PROCESS_H_

#include "support/process.h"

namespace wrenfall {

// Whether the process of that session runs; a later process with the same id does not count. One
// that may not be queried counts as running.
bool is_session_running(const SessionTag& session);

// Ends the process of that session, with exit code 1. False when it is not running, cannot be told
// from another with the same id, or may not be ended.
bool terminate_session(const SessionTag& session);

// Lets the process of that session run again when every thread of it is suspended, as a capture
// handler that was killed in the middle of a dump may leave it. True when it was.
bool resume_frozen_session(const SessionTag& session);

}  // namespace wrenfall

#endif  // WRENFALL_COMPANIONS_MONITOR_WATCHED_PROCESS_H_
