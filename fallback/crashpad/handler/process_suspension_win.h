#ifndef WRENFALL_FALLBACK_HANDLER_PROCESS_SUSPENSION_WIN_H_
#define WRENFALL_FALLBACK_HANDLER_PROCESS_SUSPENSION_WIN_H_

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace crashpad::internal {

// Keeps a process suspended for the lifetime of this object, except for one thread (0 for none). That
// thread waits for this process anyway, and must run when this process is killed. There is one
// suspension at a time. After construction the other threads have really stopped; if that cannot be
// achieved, the process is not suspended at all. `process` needs PROCESS_SUSPEND_RESUME and
// PROCESS_QUERY_INFORMATION. `suspended` is not 0 while the process may be suspended. Both must outlive
// the object.
class ProcessSuspension {
 public:
  ProcessSuspension(HANDLE process, DWORD waiting_thread, std::atomic<uint32_t>* suspended);
  ~ProcessSuspension();
  ProcessSuspension(const ProcessSuspension&) = delete;
  ProcessSuspension& operator=(const ProcessSuspension&) = delete;

  // From now on the suspended process is resumed when this process crashes.
  static void resume_on_own_crash();

 private:
  bool suspend(HANDLE process, DWORD waiting_thread);
  void resume();

  std::atomic<uint32_t>* const suspended_;
};

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_HANDLER_PROCESS_SUSPENSION_WIN_H_
