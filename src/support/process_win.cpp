#include <windows.h>

#include "support/file_times_win.h"
#include "support/open_process_win.h"
#include "support/process.h"

namespace wrenfall {

uint32_t current_process_id() { return GetCurrentProcessId(); }

uint32_t current_thread_id() { return GetCurrentThreadId(); }

uint64_t current_process_start_time() { return process_start_time(GetCurrentProcess()); }

bool is_process_running(uint64_t process_id) {
  const ScopedKernelHandle process = open_process(process_id, PROCESS_QUERY_LIMITED_INFORMATION);
  if (!process) return GetLastError() == ERROR_ACCESS_DENIED;
  DWORD exit_code = 0;
  return GetExitCodeProcess(process.get(), &exit_code) && exit_code == STILL_ACTIVE;
}

void keep_library_loaded() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                     reinterpret_cast<LPCWSTR>(&keep_library_loaded), &module);
}

}  // namespace wrenfall
