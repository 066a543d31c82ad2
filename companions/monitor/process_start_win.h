#ifndef WRENFALL_COMPANIONS_MONITOR_PROCESS_START_WIN_H_
#define WRENFALL_COMPANIONS_MONITOR_PROCESS_START_WIN_H_

#include <filesystem>

#include "support/win_handle.h"

namespace wrenfall::monitor {

// Both return an empty handle when the program does not start; the last error then says why. No
// console appears.

// Starts the capture handler with this process's own command line and inheritable handles, and with
// one of those for its standard error output, unless that is null.
ScopedKernelHandle start_handler(const std::filesystem::path& handler, HANDLE error_output);

// Starts the reporter on a report folder. It inherits nothing.
ScopedKernelHandle start_reporter(const std::filesystem::path& reporter,
                                  const std::filesystem::path& folder);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_PROCESS_START_WIN_H_
