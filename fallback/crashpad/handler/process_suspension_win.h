#ifndef WRENFALL_FALLBACK_HANDLER_PROCESS_SUSPENSION_WIN_H_
#define WRENFALL_FALLBACK_HANDLER_PROCESS_SUSPENSION_WIN_H_

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace crashpad::internal {

// Keeps a process suspended for its own lifetime, all but one thread (0 for none), which waits for
// this process anyway and wakes up should this process be killed; one suspension at a time. Once
// constructed, the other threads have really stopped. When that cannot be had, the process runs on.
// `process` needs PROCESS_SUSPEND_RESUME and PROCESS_QUERY_INFORMATION; `suspended` is not 0 while
// the process may be suspended. Both must outlive the object.
class ProcessSuspension {
 public:
  ProcessSuspension(HANDLE process, DWORD waiting_thread, std::atomic<uint32_t>* suspended);
  ~ProcessSuspension();
  ProcessSuspension(const ProcessSuspension&) = delete;
  ProcessSuspension& operator=(const ProcessSuspension&) = delete;

  // From now on the suspended process is resumed even when this process crashes.
  static void resume_on_own_crash();

 private:
  bool suspend(HANDLE process, DWORD waiting_thread);
  void resume();

  std::atomic<uint32_t>* const suspended_;
};

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_HANDLER_PROCESS_SUSPENSION_WIN_H_
