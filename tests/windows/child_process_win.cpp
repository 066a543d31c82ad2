#include "tests/windows/child_process_win.h"

#include <gtest/gtest.h>

namespace wrenfall {

ChildProcess::ChildProcess(const std::wstring& role, const std::filesystem::path& program) {
  const std::wstring path = (program.empty() ? own_program() : program).wstring();
  std::wstring command = L"\"" + path + L"\" --role=" + role;
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(path.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                      &startup, &started)) {
    ADD_FAILURE() << "no child process: error " << GetLastError();
    return;
  }
  CloseHandle(started.hThread);
  process_.reset(started.hProcess);
  id_ = started.dwProcessId;
}

ChildProcess::~ChildProcess() { end(); }

std::filesystem::path ChildProcess::own_program() {
  wchar_t own[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, own, MAX_PATH);
  return own;
}

DWORD ChildProcess::wait() const {
  DWORD exit_code = STILL_ACTIVE;
  if (process_ && WaitForSingleObject(process_.get(), 20000) == WAIT_OBJECT_0) {
    GetExitCodeProcess(process_.get(), &exit_code);
  }
  return exit_code;
}

void ChildProcess::end() {
  if (!process_) return;
  TerminateProcess(process_.get(), 1);
  WaitForSingleObject(process_.get(), 20000);
}

}  // namespace wrenfall

int main(int argc, char** argv) {
  const std::string role = argc == 2 ? argv[1] : "";
  if (role == "--role=sleeper") {
    Sleep(30000);
    return 0;
  }
  if (role == "--role=guarded") return wrenfall::play_filter_guard_role(true);
  if (role == "--role=unguarded") return wrenfall::play_filter_guard_role(false);
  if (role == "--role=registers") return wrenfall::play_wer_module_role(true);
  if (role == "--role=fails") return wrenfall::play_wer_module_role(false);
  if (role == "--role=companions") return wrenfall::play_companions_role();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
