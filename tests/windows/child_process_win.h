#ifndef WRENFALL_TESTS_WINDOWS_CHILD_PROCESS_WIN_H_
#define WRENFALL_TESTS_WINDOWS_CHILD_PROCESS_WIN_H_

#include <windows.h>

#include <filesystem>
#include <string>

#include "support/win_handle.h"

namespace wrenfall {

// The test program run once more, in a role that would change or end a process. Ended with the
// object.
class ChildProcess {
 public:
  // Of this program's file, or of a copy of it.
  explicit ChildProcess(const std::wstring& role, const std::filesystem::path& program = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  static std::filesystem::path own_program();

  DWORD id() const { return id_; }
  // The exit code; STILL_ACTIVE when it does not end within 20 seconds or could not be started.
  DWORD wait() const;
  void end();

 private:
  ScopedKernelHandle process_;
  DWORD id_ = 0;
};

// What the roles do; the results are exit codes.
int play_filter_guard_role(bool guarded);
int play_wer_module_role(bool registers);
int play_companions_role();

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_WINDOWS_CHILD_PROCESS_WIN_H_
