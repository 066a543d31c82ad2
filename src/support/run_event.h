#ifndef WRENFALL_SUPPORT_RUN_EVENT_H_
#define WRENFALL_SUPPORT_RUN_EVENT_H_

#include <cstdint>
#include <string>

#include "support/process.h"

namespace wrenfall {

// A process may initialize the library several times. Its runs are numbered from 1. Each has three events,
// which its monitor finds by their names.

// Instead of a number: the events could not be made, or another process has taken their names. The monitor
// of such a run stays until its handler ends, which it does not replace.
inline constexpr uint32_t kRunWithoutEvents = 0;

// Set once the run has a handler. Until then the host waits for one, and must be told of its end.
inline std::string up_event_name(const ProcessIdentity& process, uint32_t run) {
  return "Wrenfall-" + process.text() + "-" + std::to_string(run) + "-up";
}

// Set before a later run of the process starts its handler, which takes the place of this one's and may end
// it. Reset when that handler does not start.
inline std::string successor_starts_event_name(const ProcessIdentity& process, uint32_t run) {
  return "Wrenfall-" + process.text() + "-" + std::to_string(run) + "-successor-starts";
}

// Set once a later run of the process is up: then nobody needs the monitor and the handler of this one any
// more.
inline std::string superseded_event_name(const ProcessIdentity& process, uint32_t run) {
  return "Wrenfall-" + process.text() + "-" + std::to_string(run) + "-superseded";
}

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_RUN_EVENT_H_
