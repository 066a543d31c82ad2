#ifndef WRENFALL_COMPANIONS_MONITOR_FROZEN_HOSTS_WIN_H_
#define WRENFALL_COMPANIONS_MONITOR_FROZEN_HOSTS_WIN_H_

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "monitor/freeze_tracker.h"
#include "support/clock.h"
#include "support/logger.h"
#include "support/process.h"

namespace wrenfall::monitor {

// Resumes hosts that were left suspended for more than a minute:
//  - the own one, whose handler lives but does not go on;
//  - those of the same store whose monitor and handler were both ended in the middle of a dump, so that
//    nobody else can. That takes a monitor of another process, or of the next start of the program.
// A process under a debugger is left alone. So is one that somebody else has suspended, as far as that
// can be told: the own host only counts after its handler has done something, another host only when it
// has no monitor and no dump is being written. Used by one thread.
class FrozenHosts {
 public:
  FrozenHosts(const ProcessIdentity& own, std::filesystem::path sessions, Logger& logger)
      : own_(own), sessions_(std::move(sessions)), logger_(logger) {}

  // One look; does nothing when the last one was less than a second ago. `handler` may be null.
  // `writes_dump`: a dump is being written. True when a host is suspended, so that it is to be looked
  // at again soon. Throws DirectoryIterationError.
  bool look(HANDLE handler, bool writes_dump);

 private:
  using Clock = AwakeClock;

  void look_at_own(HANDLE handler, bool writes_dump);
  void look_at_others(bool writes_dump);
  bool counts_others() const;
  // The other hosts of the store that are suspended and have no monitor.
  std::vector<ProcessIdentity> find_abandoned() const;
  bool has_worked(HANDLE handler);

  const ProcessIdentity own_;
  const std::filesystem::path sessions_;
  Logger& logger_;
  FreezeTracker own_tracker_;
  std::map<std::string, FreezeTracker> trackers_;  // of abandoned hosts, by their identity's text
  uint64_t cycles_ = 0;  // of the handler, when the own host was seen running
  std::optional<Clock::time_point> last_look_;
  std::optional<Clock::time_point> last_look_at_others_;
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_FROZEN_HOSTS_WIN_H_
