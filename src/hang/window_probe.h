#ifndef WRENFALL_HANG_WINDOW_PROBE_H_
#define WRENFALL_HANG_WINDOW_PROBE_H_

#include <atomic>

namespace wrenfall {

// Asks every visible top-level window of this process for a sign of life, each for up to 50 ms.
// True when one answered. A process without such a window never answers. Gives up early once
// `stopping` is set.
bool any_window_answers(const std::atomic<bool>& stopping);

}  // namespace wrenfall

#endif  // WRENFALL_HANG_WINDOW_PROBE_H_
