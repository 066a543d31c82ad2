#ifndef WRENFALL_API_RUN_SUCCESSION_H_
#define WRENFALL_API_RUN_SUCCESSION_H_

#include <cstdint>
#include <optional>

#include "support/named_event.h"
#include "support/process.h"

namespace wrenfall {

// Tells the monitor of a run of this process that the run is up, and those of earlier runs that they are
// not needed any more. Some capture clients leave every handler that they have started running until the
// process ends. Guarded by the lifecycle lock.
class RunSuccession {
 public:
  // The number of a run that may still fail to start, or kRunWithoutEvents. Its monitor can be told from
  // now on. Tells the monitor of the current run that its handler may be ended by the start, and that of
  // a run that failed to start that it is not needed.
  uint32_t begin(const ProcessIdentity& process);

  // That run is up: tells its monitor and that of the earlier one. Until then the earlier one stays,
  // since it is the one that sees a crash.
  void confirm();

 private:
  struct Events {
    NamedEvent up;
    NamedEvent successor_starts;
    NamedEvent superseded;
  };
  uint32_t runs_ = 0;
  std::optional<Events> current_;  // of the last run that came up
  std::optional<Events> next_;     // of the run that starts, or failed to
};

}  // namespace wrenfall

#endif  // WRENFALL_API_RUN_SUCCESSION_H_
