#include "monitor/process_start_win.h"

#include <string>

#include "monitor/command_line.h"

namespace wrenfall {
namespace {

ScopedKernelHandle start(const std::filesystem::path& program, std::wstring command_line,
                         bool inherit_handles) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  // The call may write into the command line.
  if (!CreateProcessW(program.c_str(), command_line.data(), nullptr, nullptr, inherit_handles,
                      CREATE_NO_WINDOW, nullptr, nullptr, &startup, &process)) {
    return ScopedKernelHandle();
  }
  CloseHandle(process.hThread);
  return ScopedKernelHandle(process.hProcess);
}

}  // namespace

ScopedKernelHandle start_handler(const std::filesystem::path& handler) {
  return start(handler, with_program(GetCommandLineW(), handler.native()), true);
}

ScopedKernelHandle start_reporter(const std::filesystem::path& reporter,
                                  const std::filesystem::path& folder) {
  return start(reporter, quote_argument(reporter.native()) + L" " + quote_argument(folder.native()),
               false);
}

}  // namespace wrenfall
