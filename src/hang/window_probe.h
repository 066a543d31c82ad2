#ifndef WRENFALL_HANG_WINDOW_PROBE_H_
#define WRENFALL_HANG_WINDOW_PROBE_H_

#include <atomic>
#include <chrono>
#include <cstdint>

namespace wrenfall {

// What the visible top-level windows of this process said.
struct WindowAnswers {
  bool any = false;
  uint32_t silent_thread_id = 0;  // owns the first window that did not answer; 0 for none
  uint32_t asked = 0;
};

constexpr std::chrono::milliseconds kWindowPatience{50};

// Asks each of these windows for a sign of life and waits for its answer for as long as
// kWindowPatience. Stops early once `stopping` is set.
WindowAnswers ask_windows(const std::atomic<bool>& stopping);

}  // namespace wrenfall

#endif  // WRENFALL_HANG_WINDOW_PROBE_H_
