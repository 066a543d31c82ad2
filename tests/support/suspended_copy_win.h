#ifndef WRENFALL_TESTS_SUPPORT_SUSPENDED_COPY_WIN_H_
#define WRENFALL_TESTS_SUPPORT_SUSPENDED_COPY_WIN_H_

#include <windows.h>

// Starts this program again as a process that does not run by itself: its first thread is suspended,
// and would only list the tests. All is 0 when it could not be started.
inline PROCESS_INFORMATION start_suspended_copy(SECURITY_ATTRIBUTES* security = nullptr) {
  wchar_t program[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, program, MAX_PATH);
  wchar_t arguments[] = L"copy --gtest_list_tests";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION created{};
  // On a busy machine Wine reports an internal error once in a few hundred starts.
  for (int attempt = 1; attempt <= 4; ++attempt) {
    if (CreateProcessW(program, arguments, security, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                       nullptr, &startup, &created) ||
        GetLastError() != ERROR_INTERNAL_ERROR) {
      break;
    }
    Sleep(100);
  }
  return created;
}

#endif  // WRENFALL_TESTS_SUPPORT_SUSPENDED_COPY_WIN_H_
