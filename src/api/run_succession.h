#ifndef WRENFALL_API_RUN_SUCCESSION_H_
#define WRENFALL_API_RUN_SUCCESSION_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "support/named_event.h"
#include "support/process.h"

namespace wrenfall {

// Tells the monitor of a run of this process that the run is up, and those of earlier runs that they are
// not needed any more. Some capture clients leave every handler that they have started running until the
// process ends. Guarded by the lifecycle lock.
class RunSuccession {
 public:
  // The number of a run that may still fail to start, or kRunWithoutEvents. Its monitor can be told from
  // now on. Tells the monitors of earlier runs that a handler is being started which replaces theirs.
  uint32_t begin(const ProcessIdentity& process);

  // That run has a handler: from now on its monitor replaces one that ends.
  void handler_is_up();

  // That run is up: tells the monitors of the earlier ones that they are not needed.
  void confirm();

  // That start has ended, however: when it brought no handler, the last one before is not replaced. Does
  // nothing after confirm().
  void settle();

 private:
  enum class Stage { kSettled, kStarting, kHasHandler };
  struct Events {
    NamedEvent up;
    NamedEvent successor_starts;
    NamedEvent superseded;
  };
  uint32_t runs_ = 0;
  // The last run that came up, and any after it that failed when it had a handler already. The last one
  // of all has the handler that sees a crash.
  std::vector<Events> earlier_;
  std::optional<Events> next_;  // of the run that starts; empty when it has none
  Stage stage_ = Stage::kSettled;
};

}  // namespace wrenfall

#endif  // WRENFALL_API_RUN_SUCCESSION_H_
