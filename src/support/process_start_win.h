#ifndef WRENFALL_SUPPORT_PROCESS_START_WIN_H_
#define WRENFALL_SUPPORT_PROCESS_START_WIN_H_

#include <filesystem>
#include <string>

#include "support/win_handle.h"

namespace wrenfall {

// Starts a process as start_program() does, with a command line that is complete. `error_output`
// becomes its standard error output; null gives it none. An empty handle when it does not start; the
// last error then says why.
ScopedKernelHandle start_process(const std::filesystem::path& program,
                                 const std::wstring& command_line, bool inherit_handles,
                                 HANDLE error_output);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_PROCESS_START_WIN_H_
