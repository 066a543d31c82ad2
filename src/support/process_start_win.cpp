#include "support/process_start_win.h"

#include <string>

#include "support/command_line.h"
#include "support/process_start.h"
#include "support/system_path_win.h"

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

// Null, which leaves the program the current folder of this process, when the system does not tell.
const wchar_t* system_folder(std::wstring& buffer) {
  buffer.resize(MAX_PATH);
  const UINT length = GetSystemDirectoryW(buffer.data(), MAX_PATH);
  return length == 0 || length >= MAX_PATH ? nullptr : buffer.c_str();
}

// A host in a job: everything that it starts is in the job too, counts against its limits and ends with
// it. A program that is to outlive the host leaves the job, which the system refuses with "access
// denied" where the job does not allow it.
constexpr DWORD kLeavesJob = CREATE_BREAKAWAY_FROM_JOB;

}  // namespace

ScopedKernelHandle start_process(const std::filesystem::path& program,
                                 const std::wstring& command_line, bool inherit_handles,
                                 HANDLE error_output) {
  const std::wstring name = system_path(program);
  std::wstring folder_name;
  const wchar_t* const folder = system_folder(folder_name);
  DWORD flags = CREATE_NO_WINDOW | CREATE_DEFAULT_ERROR_MODE | kLeavesJob;
  for (int attempt = 1;; ++attempt) {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    // None but that one: a program that reads the host's output to its end must not wait for these.
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdError = error_output;
    PROCESS_INFORMATION process{};
    std::wstring writable = command_line;  // the call may write into it
    if (CreateProcessW(name.c_str(), writable.data(), nullptr, nullptr, inherit_handles, flags,
                       nullptr, folder, &startup, &process)) {
      CloseHandle(process.hThread);
      return ScopedKernelHandle(process.hProcess);
    }
    const DWORD error = GetLastError();
    if (error == ERROR_ACCESS_DENIED && (flags & kLeavesJob) != 0) {
      flags &= ~kLeavesJob;
      continue;
    }
    if (!is_transient(error) || attempt == kStartAttempts) return ScopedKernelHandle();
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
