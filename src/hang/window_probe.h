#ifndef WRENFALL_HANG_WINDOW_PROBE_H_
#define WRENFALL_HANG_WINDOW_PROBE_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

namespace wrenfall {

// What the visible top-level windows of this process said.
struct WindowAnswers {
  bool any = false;
  uint32_t silent_thread_id = 0;  // owns the first window that did not answer; 0 for none
  uint32_t asked = 0;
};

constexpr std::chrono::milliseconds kWindowPatience{50};

// Asks each of these windows for a sign of life and waits for its answer for as long as
// kWindowPatience. Stops early once its argument is set.
using WindowProbe = std::function<WindowAnswers(const std::atomic<bool>& stopping)>;

// Loads what the probe needs, so that the probe itself loads nothing: the thread that hangs may be in
// the middle of loading a library. Where that fails, as in a service that may have no windows, the
// probe asks none.
WindowProbe make_window_probe();

}  // namespace wrenfall

#endif  // WRENFALL_HANG_WINDOW_PROBE_H_
