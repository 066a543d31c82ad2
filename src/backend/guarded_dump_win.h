#ifndef WRENFALL_BACKEND_GUARDED_DUMP_WIN_H_
#define WRENFALL_BACKEND_GUARDED_DUMP_WIN_H_

#include <windows.h>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "support/win_handle.h"

namespace wrenfall {

// A call that may never return, made on a thread of its own. Abandoned by its caller it stays
// there, with what it owns, until it returns or the process ends; it holds nothing of anybody
// else's.
class GuardedDump {
 public:
  enum class Outcome {
    kReturned,
    kNotStarted,  // no thread for it
    kAbandoned,   // one of the processes has ended first
    kOverdue,     // nothing has happened until the bound
  };

  // After the bound there is one last wait of this length: where the handler has this process stand
  // still for longer, the answer comes just after the bound has been passed.
  static constexpr std::chrono::milliseconds kGrace{5000};

  // Calls `dump` and waits for its return, but no longer than for the end of one of `processes` or
  // for the bound and the grace.
  Outcome run(std::function<void()> dump, const std::vector<HANDLE>& processes,
              std::chrono::milliseconds bound);

  // Whether the last call has not returned yet.
  bool is_under_way() const;

 private:
  struct Job;
  static DWORD WINAPI call(void* job);

  std::shared_ptr<Job> job_;
};

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_GUARDED_DUMP_WIN_H_
