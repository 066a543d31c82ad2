#ifndef WRENFALL_API_RUN_SUCCESSION_H_
#define WRENFALL_API_RUN_SUCCESSION_H_

#include <cstdint>
#include <vector>

#include "support/named_event.h"
#include "support/process.h"

namespace wrenfall {

// Tells the monitor of a run of this process that the run is up, and those of earlier runs that they are
// not needed any more. Some capture clients leave every handler that they have started running until the
// process ends. Guarded by the lifecycle lock.
class RunSuccession {
 public:
  // The number of a run that may still fail to start. Its monitor can be told from now on.
  uint32_t begin(const ProcessIdentity& process);

  // That run is up: tells its monitor and those of all earlier ones. Until then the earlier ones stay,
  // since they are the ones that see a crash.
  void confirm();

 private:
  uint32_t runs_ = 0;
  bool is_up_ = false;  // the last run
  struct Events {
    NamedEvent up;
    NamedEvent superseded;
  };
  std::vector<Events> events_;  // of the runs that were not superseded yet
};

}  // namespace wrenfall

#endif  // WRENFALL_API_RUN_SUCCESSION_H_
