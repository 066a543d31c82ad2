#ifndef WRENFALL_COMPANIONS_MONITOR_PROCESS_START_WIN_H_
#define WRENFALL_COMPANIONS_MONITOR_PROCESS_START_WIN_H_

#include <filesystem>

#include "support/win_handle.h"

namespace wrenfall::monitor {

// Starts the capture handler with this process's own command line and inheritable handles.
// `error_output` is one of those handles and becomes the standard error output; null gives it none. An
// empty handle when the program does not start; the last error then says why. No console window opens.
ScopedKernelHandle start_handler(const std::filesystem::path& handler, HANDLE error_output);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_PROCESS_START_WIN_H_
