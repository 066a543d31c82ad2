#ifndef WRENFALL_HANG_HANG_TRACKER_H_
#define WRENFALL_HANG_HANG_TRACKER_H_

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "support/clock.h"

namespace wrenfall {

// A thread that hangs, and how long it has been silent.
struct Hang {
  std::string thread_name;
  int64_t duration_ms = 0;
  uint32_t thread_id = 0;  // 0 for the main thread, whose id the tracker does not know
};

// Decides from signs of life whether the main thread or a watched thread hangs. A plain state
// machine over passed-in times: it reads no clock and has no thread and no lock of its own.
//
// A thread hangs when it has been silent for more than the threshold, both in whole milliseconds.
// Each hang is reported once, until the thread's next sign of life. All threads share one
// cool-down: after a report there is none for the next five minutes.
class HangTracker {
 public:
  using Time = AwakeClock::time_point;

  static constexpr int64_t kCoolDownMs = 300000;

  HangTracker(int32_t threshold_ms, Time now)
      : threshold_ms_(threshold_ms), main_{"main", now, false} {}

  void main_beat(Time now) { main_.beat(now); }

  // Does nothing for a thread that is not watched.
  void thread_beat(uint32_t thread_id, Time now);

  // A thread that is watched already gets the new name and counts as alive.
  void watch(uint32_t thread_id, std::string name, Time now);
  void unwatch(uint32_t thread_id) { watched_.erase(thread_id); }

  // A sign of life of every thread: the process as a whole did not run for a while.
  void all_beat(Time now);

  // At most one hang a call: the main thread's first, then in ascending order of the thread ids. It
  // counts as reported from then on.
  std::optional<Hang> check(Time now);

 private:
  struct Thread {
    std::string name;
    Time last_beat;
    bool reported = false;

    void beat(Time now) {
      last_beat = now;
      reported = false;
    }
  };

  std::optional<Hang> check_thread(uint32_t id, Thread& thread, Time now);

  const int32_t threshold_ms_;
  Thread main_;
  std::map<uint32_t, Thread> watched_;
  std::optional<Time> last_report_;
};

}  // namespace wrenfall

#endif  // WRENFALL_HANG_HANG_TRACKER_H_
