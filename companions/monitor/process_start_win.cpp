#include "monitor/process_start_win.h"

#include <string>

#include "monitor/command_line.h"

namespace wrenfall::monitor {
namespace {

constexpr int kStartAttempts = 4;
constexpr DWORD kStartPauseMs = 100;

// Whether a later attempt may succeed. Wine's internal error is of this kind: it comes once in a few
// hundred starts on a busy machine.
bool is_transient(DWORD error) {
  return error == ERROR_INTERNAL_ERROR || error == ERROR_NO_SYSTEM_RESOURCES ||
         error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_COMMITMENT_LIMIT;
}

ScopedKernelHandle start(const std::filesystem::path& program, const std::wstring& command_line,
                         bool inherit_handles, HANDLE error_output) {
  for (int attempt = 1;; ++attempt) {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    // None but that one: a program that reads the host's output to its end must not wait for these.
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdError = error_output;
    PROCESS_INFORMATION process{};
    std::wstring writable = command_line;  // the call may write into it
    if (CreateProcessW(program.c_str(), writable.data(), nullptr, nullptr, inherit_handles,
                       CREATE_NO_WINDOW, nullptr, nullptr, &startup, &process)) {
      CloseHandle(process.hThread);
      return ScopedKernelHandle(process.hProcess);
    }
    if (!is_transient(GetLastError()) || attempt == kStartAttempts) return ScopedKernelHandle();
    Sleep(kStartPauseMs);
  }
}

}  // namespace

ScopedKernelHandle start_handler(const std::filesystem::path& handler, HANDLE error_output) {
  return start(handler, with_program(GetCommandLineW(), handler.native()), true, error_output);
}

ScopedKernelHandle start_reporter(const std::filesystem::path& reporter,
                                  const std::filesystem::path& folder) {
  return start(reporter, quote_argument(reporter.native()) + L" " + quote_argument(folder.native()),
               false, nullptr);
}

}  // namespace wrenfall::monitor
