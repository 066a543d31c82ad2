#ifndef WRENFALL_HANG_WINDOW_PROBE_H_
#define WRENFALL_HANG_WINDOW_PROBE_H_

#include <atomic>

namespace wrenfall {

// Asks every visible top-level window of this process for a sign of life and waits up to 50 ms for
// each. True when one answered; false as well when the process has no such window. Stops early once
// `stopping` is set.
bool any_window_answers(const std::atomic<bool>& stopping);

}  // namespace wrenfall

#endif  // WRENFALL_HANG_WINDOW_PROBE_H_
