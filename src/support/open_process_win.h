#ifndef WRENFALL_SUPPORT_OPEN_PROCESS_WIN_H_
#define WRENFALL_SUPPORT_OPEN_PROCESS_WIN_H_

#include <windows.h>

#include <cstdint>

#include "support/win_handle.h"

namespace wrenfall {

// Empty, with the last error set by the system, when there is no such process or it may not be opened.
inline ScopedKernelHandle open_process(uint64_t id, DWORD access) {
  // The system rounds ids down to a multiple of four when it looks a process up, and knows none above
  // 32 bits.
  if (id == 0 || id > MAXDWORD) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return ScopedKernelHandle();
  }
  return ScopedKernelHandle(OpenProcess(access, FALSE, static_cast<DWORD>(id)));
}

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_OPEN_PROCESS_WIN_H_
