// Processes and the folders that belong to them.
#include <gtest/gtest.h>

#include "backend/platform_facts.h"
#include "report/crash_data.h"
#include "report/report_store.h"
#include "report/session_files.h"
#include "support/paths.h"
#include "tests/support/temp_dir.h"
#include "tests/windows/child_process_win.h"

namespace wrenfall {

int play_companions_role() {
  const auto in_place = [](const std::filesystem::path& found, const char* name) {
    return found.empty() ? 0 : found == application_dir() / name ? 1 : 4;
  };
  return in_place(find_monitor_exe(), "WrenfallMonitor.exe") +
         2 * in_place(find_reporter_exe(), "WrenfallReporter.exe");
}

namespace {

TEST(ProcessWin, RunningEndsWithTheProcess) {
  EXPECT_FALSE(is_process_running(0));
  EXPECT_FALSE(is_process_running((1ull << 32) + GetCurrentProcessId()));
  EXPECT_FALSE(is_process_running(UINT64_MAX));
  EXPECT_TRUE(is_process_running(GetCurrentProcessId()));
  ChildProcess child(L"sleeper");
  EXPECT_TRUE(is_process_running(child.id()));
  // Still held open, so that the id is not given away.
  child.end();
  EXPECT_FALSE(is_process_running(child.id()));
}

TEST(ProcessWin, ReportsAndSessionsOfALivingProcessAreLeftToIt) {
  const TempDir dir;
  ChildProcess child(L"sleeper");
  CrashData record;
  record.ownerPid = child.id();
  ASSERT_TRUE(save(dir / "report", record));
  const SessionTag session{child.id(), 1};
  ASSERT_TRUE(write_session(dir.path(), {session, {}}));
  sweep_sessions(dir.path());
  EXPECT_TRUE(pending_report_folders(dir.path()).empty());
  EXPECT_TRUE(std::filesystem::exists(session_file(dir.path(), session)));
  child.end();
  sweep_sessions(dir.path());
  EXPECT_EQ(pending_report_folders(dir.path()).size(), 1u);
  EXPECT_FALSE(std::filesystem::exists(session_file(dir.path(), session)));
}

TEST(ProcessWin, SessionIsThisProcessSinceItsStart) {
  FILETIME system_time{};
  GetSystemTimeAsFileTime(&system_time);
  const uint64_t now =
      (static_cast<uint64_t>(system_time.dwHighDateTime) << 32) | system_time.dwLowDateTime;
  constexpr uint64_t kHour = 3600ull * 10000000;
  const SessionTag session = current_session();
  EXPECT_EQ(session.process_id, GetCurrentProcessId());
  EXPECT_LE(session.start_time, now);
  EXPECT_GT(session.start_time, now - kHour);
  EXPECT_EQ(current_session().text(), session.text());
}

TEST(PathsWin, CompanionsLieBesideTheProgram) {
  const TempDir dir;
  const auto program = dir / "program.exe";
  const auto own = ChildProcess::own_program();
  EXPECT_EQ(application_dir() / own.filename(), own);
  EXPECT_EQ(library_dir(), application_dir());
  std::filesystem::copy_file(own, program);
  EXPECT_EQ(ChildProcess(L"companions", program).wait(), 0u);
  put_file(dir / "WrenfallReporter.exe", "");
  EXPECT_EQ(ChildProcess(L"companions", program).wait(), 2u);
  dir.make_folder("WrenfallMonitor.exe");  // Any kind of entry will do.
  EXPECT_EQ(ChildProcess(L"companions", program).wait(), 3u);
}

TEST(PathsWin, DefaultStoreLiesInTheLocalData) {
  const auto base = local_data_dir();
  EXPECT_TRUE(std::filesystem::is_directory(base));
  EXPECT_EQ(default_store_dir("My:App/é 試", "1.0"),
            base / L"Wrenfall" / L"My_App_\u00E9 \u8A66-1.0");
  EXPECT_EQ(default_store_dir("", ""), base / "Wrenfall" / "-");
  wchar_t variable[MAX_PATH] = {};
  GetEnvironmentVariableW(L"LOCALAPPDATA", variable, MAX_PATH);
  EXPECT_EQ(base, variable);
}

TEST(PlatformFactsWin, SystemTellsItsVersion) {
  const PlatformFacts facts = query_platform_facts();
  EXPECT_NE(facts.build, "0");
  EXPECT_EQ(facts.name.substr(0, 8), "Windows ") << facts.name;
  EXPECT_EQ(facts.architecture, "x64");
}

}  // namespace
}  // namespace wrenfall
