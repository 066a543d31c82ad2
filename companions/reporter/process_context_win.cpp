#include "reporter/process_context_win.h"

#include <windows.h>

#include "support/win_handle.h"

namespace wrenfall::reporter {

bool is_elevated() {
  HANDLE opened = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) return false;
  const ScopedKernelHandle token(opened);
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  return GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof elevation, &size) &&
         elevation.TokenIsElevated != 0;
}

bool is_in_session_zero() {
  DWORD session = 0;
  return ProcessIdToSessionId(GetCurrentProcessId(), &session) && session == 0;
}

}  // namespace wrenfall::reporter
