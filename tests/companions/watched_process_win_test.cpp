// clang-format off
#include <windows.h>
// clang-format on

#include "monitor/watched_process.h"

#include <gtest/gtest.h>

#include "support/file_times_win.h"
#include "support/win_handle.h"

namespace wrenfall::monitor {
namespace {

// A process that does not run by itself: a second copy of this program whose first thread is
// suspended, and which would only list its tests.
class SuspendedProcess {
 public:
  SuspendedProcess() {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    wchar_t arguments[] = L"copy --gtest_list_tests";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION created{};
    if (!CreateProcessW(program, arguments, nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                        nullptr, &startup, &created)) {
      return;
    }
    process_.reset(created.hProcess);
    thread_.reset(created.hThread);
    identity_ = {created.dwProcessId, process_start_time(process_.get())};
  }
  ~SuspendedProcess() {
    if (process_) TerminateProcess(process_.get(), 99);
  }
  SuspendedProcess(const SuspendedProcess&) = delete;
  SuspendedProcess& operator=(const SuspendedProcess&) = delete;

  const ProcessIdentity& identity() const { return identity_; }

  // STILL_ACTIVE while it has not ended.
  DWORD exit_code(DWORD wait_ms) const {
    WaitForSingleObject(process_.get(), wait_ms);
    DWORD code = 0;
    GetExitCodeProcess(process_.get(), &code);
    return code;
  }

 private:
  ScopedKernelHandle process_;
  ScopedKernelHandle thread_;
  ProcessIdentity identity_;
};

TEST(WatchedProcess, AnotherProcessWithTheIdIsNotEnded) {
  const SuspendedProcess process;
  ProcessIdentity earlier = process.identity();
  ASSERT_NE(earlier.process_id, 0u);
  --earlier.start_time;
  EXPECT_FALSE(is_still_running(earlier));
  EXPECT_FALSE(terminate_process(earlier));
  EXPECT_FALSE(terminate_process({earlier.process_id, 0}));
  EXPECT_EQ(process.exit_code(0), static_cast<DWORD>(STILL_ACTIVE));

  EXPECT_TRUE(is_still_running(process.identity()));
  const ProcessExit end(process.identity());
  const ProcessExit end_of_earlier(earlier);
  EXPECT_FALSE(end.exit_code());
  EXPECT_TRUE(terminate_process(process.identity()));
  EXPECT_EQ(process.exit_code(10000), 1u);
  EXPECT_FALSE(is_still_running(process.identity()));
  EXPECT_EQ(end.exit_code(), 1u);
  EXPECT_FALSE(end_of_earlier.exit_code());
}

TEST(WatchedProcess, RunsAgainWhenAllOfItIsSuspended) {
  const SuspendedProcess process;
  ProcessIdentity earlier = process.identity();
  --earlier.start_time;
  EXPECT_FALSE(resume_frozen_process(earlier));
  EXPECT_TRUE(resume_frozen_process(process.identity()));
  EXPECT_EQ(process.exit_code(10000), 0u);
}

}  // namespace
}  // namespace wrenfall::monitor
