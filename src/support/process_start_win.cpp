#include "support/process_start_win.h"

#include "support/command_line.h"
#include "support/process_start.h"

namespace wrenfall {
namespace {

constexpr int kStartAttempts = 4;
constexpr DWORD kStartPauseMs = 100;

// Whether a later attempt may succeed. Wine's internal error is of this kind: it comes once in a few
// hundred starts on a busy machine.
bool is_transient(DWORD error) {
  return error == ERROR_INTERNAL_ERROR || error == ERROR_NO_SYSTEM_RESOURCES ||
         error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_COMMITMENT_LIMIT;
}

}  // namespace

ScopedKernelHandle start_process(const std::filesystem::path& program,
                                 const std::wstring& command_line, bool inherit_handles,
                                 HANDLE error_output) {
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

uint32_t start_program(const std::filesystem::path& program,
                       const std::vector<std::filesystem::path>& arguments) {
  std::wstring command_line = quote_argument(program.native());
  for (const std::filesystem::path& argument : arguments) {
    command_line += L" " + quote_argument(argument.native());
  }
  return start_process(program, command_line, false, nullptr) ? 0 : GetLastError();
}

}  // namespace wrenfall
