#ifndef WRENFALL_BACKEND_DUMP_THREAD_WIN_H_
#define WRENFALL_BACKEND_DUMP_THREAD_WIN_H_

#include <windows.h>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "support/win_handle.h"

namespace wrenfall {

// Makes a call that may never return, on a thread of its own. That thread is started beforehand:
// when a hang is reported, the thread that hangs may hold what a new thread needs, the loader's
// lock. A call that its caller has given up stays on that thread until it returns or the process
// ends, also after this object's end, and holds nothing of anybody else's. Not for several threads
// at once.
class DumpThread {
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

  DumpThread() = default;
  ~DumpThread();
  DumpThread(const DumpThread&) = delete;
  DumpThread& operator=(const DumpThread&) = delete;

  // Starts the thread, unless it runs. False when the system refuses.
  bool prepare();

  // Calls `dump` and waits for its return, but no longer than for the end of one of `processes` or
  // for the bound and the grace. Not while a call is under way.
  Outcome run(std::function<void()> dump, const std::vector<HANDLE>& processes,
              std::chrono::milliseconds bound);

  // Whether the last call has not returned yet.
  bool is_under_way() const;

 private:
  struct Worker;
  static DWORD WINAPI work(void* worker);

  std::shared_ptr<Worker> worker_;
};

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_DUMP_THREAD_WIN_H_
