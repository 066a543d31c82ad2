#ifndef WRENFALL_FALLBACK_CLIENT_HANDLER_PROCESS_WIN_H_
#define WRENFALL_FALLBACK_CLIENT_HANDLER_PROCESS_WIN_H_

#include <windows.h>

#include <string>
#include <vector>

#include "common/scoped_win.h"

namespace crashpad::internal {

// Starts `program` without a console window. It inherits the handles in `inherited` and no others; they
// are inheritable only while the process is created. Null when the process could not be started.
ScopedHandle start_handler_process(const std::wstring& program, const std::wstring& command_line,
                                   const std::vector<HANDLE>& inherited);

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_CLIENT_HANDLER_PROCESS_WIN_H_
