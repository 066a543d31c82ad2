#ifndef WRENFALL_COMPANIONS_MONITOR_FREEZE_TRACKER_H_
#define WRENFALL_COMPANIONS_MONITOR_FREEZE_TRACKER_H_

#include <chrono>
#include <optional>

#include "support/clock.h"

namespace wrenfall::monitor {

// Decides when a process that is found suspended as a whole has been so for too long. A handler
// suspends a process while it reads it, which takes a second or two; one that hangs then, or is
// killed, leaves the process standing for ever.
class FreezeTracker {
 public:
  using Clock = AwakeClock;
  static constexpr std::chrono::seconds kPatience{60};

  // One look at the process. True when it was suspended at every look for longer than the patience;
  // then the count begins again.
  bool look(bool is_frozen, Clock::time_point now) {
    if (!is_frozen) {
      since_.reset();
    } else if (!since_) {
      since_ = now;
    } else if (now - *since_ > kPatience) {
      since_.reset();
      return true;
    }
    return false;
  }

  bool is_counting() const { return since_.has_value(); }

 private:
  std::optional<Clock::time_point> since_;
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_FREEZE_TRACKER_H_
