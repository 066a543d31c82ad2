#include "api/run_succession.h"

#include <utility>

#include "support/run_event.h"

namespace wrenfall {
namespace {

// A copy of this library in the same process takes numbers too.
constexpr int kAttempts = 8;

}  // namespace

uint32_t RunSuccession::begin(const ProcessIdentity& process) {
  settle();
  stage_ = Stage::kStarting;
  for (Events& run : earlier_) run.successor_starts.set();
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

void RunSuccession::handler_is_up() {
  stage_ = Stage::kHasHandler;
  if (next_) next_->up.set();
}

void RunSuccession::confirm() {
  for (Events& run : earlier_) run.superseded.set();
  earlier_.clear();
  settle();
}

void RunSuccession::settle() {
  if (stage_ == Stage::kHasHandler && next_) earlier_.push_back(std::move(*next_));
  // Those before the last were replaced by a handler that came up.
  if (stage_ == Stage::kStarting && !earlier_.empty()) earlier_.back().successor_starts.reset();
  next_.reset();
  stage_ = Stage::kSettled;
}

}  // namespace wrenfall
