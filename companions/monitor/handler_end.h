#ifndef WRENFALL_COMPANIONS_MONITOR_HANDLER_END_H_
#define WRENFALL_COMPANIONS_MONITOR_HANDLER_END_H_

#include <chrono>

namespace wrenfall::monitor {

// What a monitor knows when its capture handler has ended.
struct HandlerEnd {
  bool host_runs = false;
  bool run_is_up = false;      // otherwise the host still waits for its handler's start
  bool has_successor = false;  // a later run of the host has a handler, and crashes go to that
  std::chrono::seconds lifetime{0};  // of the handler
  int short_lives = 0;               // handlers in a row, before this one, that ended soon
};

enum class AfterHandler {
  kEnd,    // the monitor has nothing more to do
  kStart,  // another handler for the same host
  kStay,   // handlers do not live here; stay until the host ends, and say what it lost
};

// A handler that was ended while its host runs is replaced, because a host that crashes without one is
// lost: some capture clients then wait for a minute, and no report comes. One that ends again and again
// soon after its start is not replaced for ever. While the host still waits for the handler's start, the
// end of the monitor tells it that there is none.
AfterHandler after_handler_end(const HandlerEnd& end);

// Whether the handler counts as one that ended soon.
bool was_short_lived(std::chrono::seconds lifetime);

// Whether a handler that still runs so long after its host's end hangs. It may have a dump to finish.
bool is_stuck(std::chrono::seconds since_host_end, bool writes_dump);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_HANDLER_END_H_
