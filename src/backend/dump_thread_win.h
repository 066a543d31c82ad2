#ifndef WRENFALL_BACKEND_DUMP_THREAD_WIN_H_
#define WRENFALL_BACKEND_DUMP_THREAD_WIN_H_

#include <windows.h>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "support/win_handle.h"

namespace wrenfall {

// Makes a call that may never return on a thread of its own. That thread is started beforehand: when a
// hang is reported, the hung thread may hold the loader's lock, which a new thread needs to start. A
// call that its caller no longer waits for stays on the thread until it returns or the process ends,
// also after the end of this object, so it must own all that it uses. One thread at a time may use an
// object.
class DumpThread {
 public:
  enum class Outcome {
    kReturned,
    kNotStarted,  // the thread could not be started
    kAbandoned,   // one of the processes ended first
    kOverdue,     // nothing happened within the bound
  };

  // After the bound there is one last wait of this length. When the handler suspends this process for
  // longer than the bound, the answer arrives right after the process is resumed.
  static constexpr std::chrono::milliseconds kGrace{5000};

  DumpThread() = default;
  ~DumpThread();
  DumpThread(const DumpThread&) = delete;
  DumpThread& operator=(const DumpThread&) = delete;

  // Starts the thread, unless it already runs. False when the system refuses.
  bool prepare();

  // Calls `dump` and waits until it returns, until one of `processes` ends, or until the bound and the
  // grace have passed. Not to be called while a call is under way.
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
