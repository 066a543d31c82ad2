#include "api/run_succession.h"

#include "support/run_event.h"

namespace wrenfall {

uint32_t RunSuccession::begin(const ProcessIdentity& process) {
  // A run that never came up has no monitor.
  if (!is_up_ && !events_.empty()) events_.pop_back();
  is_up_ = false;
  ++runs_;
  events_.push_back({NamedEvent(up_event_name(process, runs_)),
                     NamedEvent(superseded_event_name(process, runs_))});
  return runs_;
}

void RunSuccession::confirm() {
  is_up_ = true;
  events_.back().up.set();
  while (events_.size() > 1) {
    events_.front().superseded.set();
    events_.erase(events_.begin());
  }
}

}  // namespace wrenfall
