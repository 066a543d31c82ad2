#ifndef WRENFALL_COMPANIONS_MONITOR_WATCHED_PROCESS_WIN_H_
#define WRENFALL_COMPANIONS_MONITOR_WATCHED_PROCESS_WIN_H_

#include <windows.h>

#include "support/process.h"
#include "support/win_handle.h"

namespace wrenfall::monitor {

// Empty when the process has ended, may not be opened, or when its id belongs to another process by now,
// which its start time tells.
ScopedKernelHandle open_watched_process(const ProcessIdentity& identity, DWORD access);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_WATCHED_PROCESS_WIN_H_
