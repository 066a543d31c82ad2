#include "api/run_succession.h"

#include <utility>

#include "support/run_event.h"

namespace wrenfall {
namespace {

// A copy of this library in the same process takes numbers too.
constexpr int kAttempts = 8;

}  // namespace

uint32_t RunSuccession::begin(const ProcessIdentity& process) {
  // A run that failed late has a monitor.
  if (next_) next_->superseded.set();
  next_.reset();
  if (current_) current_->successor_starts.set();
  for (int attempt = 1; attempt <= kAttempts; ++attempt) {
    ++runs_;
    Events events = {NamedEvent(up_event_name(process, runs_)),
                     NamedEvent(successor_starts_event_name(process, runs_)),
                     NamedEvent(superseded_event_name(process, runs_))};
    if (!events.up.is_made() || !events.successor_starts.is_made() ||
        !events.superseded.is_made()) {
      continue;
    }
    next_ = std::move(events);
    return runs_;
  }
  return kRunWithoutEvents;
}

void RunSuccession::confirm() {
  if (next_) next_->up.set();
  if (current_) current_->superseded.set();
  current_ = std::exchange(next_, std::nullopt);
}

}  // namespace wrenfall
