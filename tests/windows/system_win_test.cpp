// What the system says of itself and of its folders, and what it makes of processes, command lines and texts.
#include <gtest/gtest.h>
#include <windows.h>
// After <windows.h>, on which they build.
#include <shellapi.h>
#include <shlobj.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cwchar>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "api/run_succession.h"
#include "backend/platform_facts.h"
#include "monitor/dump_watcher_win.h"
#include "monitor/process_start_win.h"
#include "monitor/watched_process.h"
#include "support/command_line.h"
#include "support/detached_thread.h"
#include "support/file_times_win.h"
#include "support/named_event.h"
#include "support/named_event_win.h"
#include "support/paths.h"
#include "support/process.h"
#include "support/process_start.h"
#include "support/run_event.h"
#include "support/text.h"
#include "support/win_handle.h"
#include "tests/support/suspended_copy_win.h"
#include "tests/support/temp_dir.h"
#include "tests/windows/import_hook_win.h"

WRENFALL_IMPORT(CreateProcessW);
WRENFALL_IMPORT(GetTempPathW);

namespace wrenfall {
namespace {

TEST(PathsWin, DefaultStoreLiesInTheLocalData) {
  const auto base = local_data_dir();
  EXPECT_TRUE(std::filesystem::is_directory(base));
  EXPECT_EQ(default_store_dir("My:App/é 試", "1.0"),
            base / L"Wrenfall" / L"My_App_\u00E9 \u8A66-1.0");
  EXPECT_EQ(default_store_dir("", ""), base / "Wrenfall" / "-");
  EXPECT_EQ(default_store_dir("App", "1.0. "), base / "Wrenfall" / "App-1.0");
  wchar_t variable[MAX_PATH] = {};
  GetEnvironmentVariableW(L"LOCALAPPDATA", variable, MAX_PATH);
  EXPECT_EQ(base, variable);
}

TEST(PathsWin, SaysWhatPathsMean) {
  // A path, the absolute one, and the plain one.
  for (const auto& [given, absolute, plain] : std::vector<std::array<std::wstring, 3>>{
           {L"C:/a. /store. ", L"C:/a. /store", L"C:\\a. \\store"},
           {L"C:\\a\\..", L"C:\\a\\..", L"C:\\"},
           {L"//server/share\\a. ", L"//server/share\\a", L"\\\\server\\share\\a"},
           {L"\\\\?\\C:\\a. ", L"\\\\?\\C:\\a. ", L"\\\\?\\C:\\a. "}}) {
    EXPECT_EQ(absolute_path(given).native(), absolute);
    EXPECT_EQ(plain_path(given).native(), plain);
  }
}

HRESULT WINAPI no_known_folder(REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path) {
  *path = nullptr;
  return E_FAIL;
}

DWORD WINAPI temporary_folder_that_is_gone(DWORD, LPWSTR path) {
  return static_cast<DWORD>(std::wcslen(std::wcscpy(path, L"Q:\\gone\\")));
}

TEST(PathsWin, WithoutLocalDataAndATemporaryFolderTheErrorNamesThat) {
  const NameHook known("SHGetKnownFolderPath", &no_known_folder);
  const ImportHook temporary(__imp_GetTempPathW, &temporary_folder_that_is_gone);
  std::string text;
  try {
    local_data_dir();
  } catch (const std::filesystem::filesystem_error& error) {
    text = error.what();
  }
  EXPECT_NE(text.find("temp_directory_path"), std::string::npos) << text;
  EXPECT_NE(text.find("gone"), std::string::npos) << text;
}

TEST(PlatformFactsWin, SystemTellsItsVersion) {
  const PlatformFacts facts = query_platform_facts();
  EXPECT_NE(facts.build, "0");
  EXPECT_EQ(facts.name.substr(0, 8), "Windows ") << facts.name;
  EXPECT_EQ(facts.architecture, "x64");
}

// The flags of the last start; whether the process gets a standard input, output and error output, and
// inherits handles; its own flags, and its current folder.
std::vector<DWORD> asked;
std::wstring start_folder;
bool may_leave_job = true;

BOOL WINAPI note_start(LPCWSTR, LPWSTR, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL inherits,
                       DWORD flags, void*, LPCWSTR folder, STARTUPINFOW* startup,
                       PROCESS_INFORMATION*) {
  asked = {startup->dwFlags,
           startup->hStdInput != nullptr,
           startup->hStdOutput != nullptr,
           startup->hStdError != nullptr,
           inherits != FALSE,
           flags};
  start_folder = folder;
  const bool refused = (flags & CREATE_BREAKAWAY_FROM_JOB) != 0 && !may_leave_job;
  SetLastError(refused ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND);
  return FALSE;
}

TEST(ProcessStart, HandsOverNothingOfTheHost) {
  constexpr DWORD kInJob = CREATE_NO_WINDOW | CREATE_DEFAULT_ERROR_MODE;
  const ImportHook hook(__imp_CreateProcessW, &note_start);
  for (const DWORD flags : {kInJob | CREATE_BREAKAWAY_FROM_JOB, kInJob}) {
    may_leave_job = flags != kInJob;
    EXPECT_EQ(start_program(L"reporter", {L"folder"}), uint32_t{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(asked, (std::vector<DWORD>{STARTF_USESTDHANDLES, 0, 0, 0, 0, flags}));
    EXPECT_FALSE(monitor::start_handler(L"handler", GetCurrentProcess()));
    EXPECT_EQ(asked, (std::vector<DWORD>{STARTF_USESTDHANDLES, 0, 0, 1, 1, flags}));
  }
  EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(start_folder) / "kernel32.dll"));
}

struct SuspendedProcess {
  explicit SuspendedProcess(SECURITY_ATTRIBUTES* security = nullptr) {
    const PROCESS_INFORMATION created = start_suspended_copy(security);
    process.reset(created.hProcess);
    thread.reset(created.hThread);
    identity = {created.dwProcessId, process_start_time(created.hProcess)};
  }
  ~SuspendedProcess() { TerminateProcess(process.get(), 99); }

  // STILL_ACTIVE while it has not ended.
  DWORD exit_code(DWORD wait_ms) const {
    WaitForSingleObject(process.get(), wait_ms);
    DWORD code = 0;
    GetExitCodeProcess(process.get(), &code);
    return code;
  }

  ScopedKernelHandle process, thread;
  ProcessIdentity identity;
};

TEST(WatchedProcess, AnotherProcessWithTheIdIsNotEnded) {
  const SuspendedProcess process;
  ProcessIdentity earlier = process.identity;
  ASSERT_NE(earlier.process_id, 0u);
  --earlier.start_time;
  EXPECT_FALSE(monitor::is_still_running(earlier));
  EXPECT_FALSE(monitor::terminate_process(earlier));
  EXPECT_FALSE(monitor::terminate_process({earlier.process_id, 0}));
  EXPECT_EQ(process.exit_code(0), static_cast<DWORD>(STILL_ACTIVE));

  EXPECT_TRUE(monitor::is_still_running(process.identity));
  const monitor::ProcessExit end(process.identity);
  const monitor::ProcessExit end_of_earlier(earlier);
  EXPECT_FALSE(end.exit_code());
  EXPECT_TRUE(monitor::terminate_process(process.identity));
  EXPECT_EQ(process.exit_code(10000), 1u);
  EXPECT_FALSE(monitor::is_still_running(process.identity));
  EXPECT_EQ(end.exit_code(), 1u);
  EXPECT_FALSE(end_of_earlier.exit_code());
}

TEST(WatchedProcess, RunsAgainWhenAllOfItIsSuspended) {
  const SuspendedProcess process;
  ProcessIdentity earlier = process.identity;
  --earlier.start_time;
  // As a handler does that reads the thread's registers.
  ASSERT_EQ(SuspendThread(process.thread.get()), 1u);
  EXPECT_FALSE(monitor::resume_frozen_process(earlier, true));
  const auto frozen = monitor::frozen_processes({earlier, current_process(), process.identity});
  ASSERT_EQ(frozen.size(), 1u);
  EXPECT_EQ(frozen[0], process.identity);
  EXPECT_TRUE(monitor::resume_frozen_process(process.identity, true));
  EXPECT_EQ(process.exit_code(10000), 0u);
}

TEST(DetachedThread, EachOfManyRunsOnce) {
  constexpr size_t kThreads = 3000;
  const auto runs = std::make_shared<std::array<std::atomic<int>, kThreads>>();
  for (size_t i = 0; i < kThreads; ++i) start_detached_thread([runs, i] { ++(*runs)[i]; });
  const auto all_ran = [&runs] {
    return std::all_of(runs->begin(), runs->end(), [](const auto& count) { return count == 1; });
  };
  for (int i = 0; i < 600 && !all_ran(); ++i) Sleep(50);
  EXPECT_TRUE(all_ran());
}

TEST(NamedEvent, OneThatExistsAlreadyIsNotUsed) {
  const std::string name = "Wrenfall-test-" + current_process().text();
  const NamedEvent first(name);
  NamedEvent second(name);
  EXPECT_TRUE(first.is_made());
  EXPECT_FALSE(second.is_made());
  second.set();
  const ScopedKernelHandle found = open_named_event(name);
  EXPECT_EQ(WaitForSingleObject(found.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
}

TEST(RunSuccession, TellsEachMonitorWhoHasTheHandler) {
  const ProcessIdentity process = {current_process().process_id, 1};
  RunSuccession succession;
  // Of a run's events those that are set: up, a successor starts, superseded.
  const auto events_of = [&](uint32_t run) {
    std::string set;
    for (const auto& [letter, name] : {std::pair('u', up_event_name(process, run)),
                                       std::pair('s', successor_starts_event_name(process, run)),
                                       std::pair('e', superseded_event_name(process, run))}) {
      const ScopedKernelHandle event = open_named_event(name);
      if (!event) return std::string("none");
      if (WaitForSingleObject(event.get(), 0) == WAIT_OBJECT_0) set += letter;
    }
    return set;
  };
  ASSERT_EQ(succession.begin(process), 1u);
  EXPECT_EQ(events_of(1), "");
  succession.handler_is_up();
  succession.confirm();
  EXPECT_EQ(events_of(1), "u");

  succession.begin(process);
  EXPECT_EQ(events_of(1), "us");
  succession.settle();
  EXPECT_EQ(events_of(1), "u") << "the second has no handler";
  EXPECT_EQ(events_of(2), "none");

  succession.begin(process);
  succession.handler_is_up();
  succession.settle();  // the third fails later
  EXPECT_EQ(events_of(1) + " " + events_of(3), "us u");
  succession.begin(process);
  succession.settle();
  EXPECT_EQ(events_of(1) + " " + events_of(3), "us u") << "the third still has it";

  const ScopedKernelHandle first = open_named_event(superseded_event_name(process, 1));
  const ScopedKernelHandle third = open_named_event(superseded_event_name(process, 3));
  succession.begin(process);
  succession.handler_is_up();
  succession.confirm();
  EXPECT_EQ(WaitForSingleObject(first.get(), 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(third.get(), 0), WAIT_OBJECT_0);
  EXPECT_EQ(events_of(5), "u");
}

TEST(ProcessWin, OneThatMayNotBeOpenedRuns) {
  ACL nobody{};
  SECURITY_DESCRIPTOR descriptor{};
  ASSERT_TRUE(InitializeAcl(&nobody, sizeof nobody, ACL_REVISION) &&
              InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) &&
              SetSecurityDescriptorDacl(&descriptor, TRUE, &nobody, FALSE));
  SECURITY_ATTRIBUTES closed{sizeof closed, &descriptor, FALSE};
  const SuspendedProcess process(&closed);
  const auto id = static_cast<DWORD>(process.identity.process_id);
  ASSERT_NE(id, 0u);
  EXPECT_EQ(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id), nullptr);
  EXPECT_TRUE(is_process_running(id));
}

std::vector<std::wstring> split(const std::wstring& command_line) {
  int count = 0;
  wchar_t** const arguments = CommandLineToArgvW(command_line.c_str(), &count);
  std::vector<std::wstring> texts(arguments, arguments + count);
  LocalFree(arguments);
  return texts;
}

TEST(CommandLine, QuotedArgumentComesBackFromTheSystem) {
  const wchar_t* const rows[] = {
      L"",          L"plain",      L"two words", L"C:\\a b\\",   L"C:\\a b\\\\",   L"say \"x\"",
      L"back\\\"q", L"\\\\srv\\s", L"\"",        L"tab\tinside", L"\x0436 \x00E4", L"a\\\\\"b c\\",
  };
  std::vector<std::wstring> hostile(std::begin(rows), std::end(rows));
  for (const wchar_t* const row :
       {L"\" --annotation=wrenfall.store=C:\\evil \"", L"\\\" & calc.exe & \"", L"%PATH% ^|<>&!",
        L"line\r\nbreak\n", L"\x0b\x0c\x1b\xa0\x2028", L"'single' `back`", L"\\\\\\\"\"\"\\\\",
        L"--help", L"/?", L"  blanks  ", L"\xD83D"}) {
    hostile.push_back(row);
  }
  for (size_t backslashes = 1; backslashes < 8; ++backslashes) {
    hostile.push_back(std::wstring(backslashes, L'\\') + L"\"");
    hostile.push_back(L"a b\"" + std::wstring(backslashes, L'\\'));
  }
  // As long as a command line can be.
  hostile.push_back(std::wstring(32000, L'x'));
  hostile.push_back(std::wstring(10000, L'"'));
  for (const std::wstring& row : hostile) {
    const std::wstring line = L"p.exe " + quote_argument(row) + L" next";
    EXPECT_EQ(split(line), (std::vector<std::wstring>{L"p.exe", row, L"next"}));
  }
}

TEST(DumpWatcher, SleepsWhileItsWatchesAreArmedAndWakesAtAChange) {
  using Outlook = monitor::DumpWatcher::Outlook;
  using std::chrono::seconds;
  const TempDir dir;
  const ScopedKernelHandle handler(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  monitor::DumpWatcher watcher(dir / "reports", dir / "sessions");
  // Whether the wait outlasts the pause, at the end of which something happens.
  const auto wait = [&](Outlook outlook, seconds pause, const std::function<void()>& happens) {
    std::promise<void> ended;
    auto outlasted = std::async(std::launch::async, [&, end = ended.get_future()]() mutable {
      const bool outlasts = end.wait_for(pause) == std::future_status::timeout;
      if (outlasts) happens();
      return outlasts;
    });
    watcher.arm();
    const auto begin = std::chrono::steady_clock::now();
    const bool goes_on = !watcher.wait(outlook, {handler.get()});
    EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(29)) << "no change woke it";
    ended.set_value();
    EXPECT_TRUE(goes_on || WaitForSingleObject(handler.get(), 0) == WAIT_OBJECT_0);
    return outlasted.get();
  };
  // The system may tell of one change more than once, and late on a busy machine.
  const auto sleeps_until = [&](const std::function<void()>& happens) {
    bool slept = false;
    for (int look = 0; look < 4 && !slept; ++look) {
      slept = wait(Outlook::kQuiet, seconds(3), happens);
    }
    return slept;
  };
  const auto sleeps = [&](Outlook outlook) { return wait(outlook, seconds(12), [] {}); };
  EXPECT_FALSE(sleeps(Outlook::kQuiet)) << "without the folders";
  std::filesystem::create_directories(dir / "reports");
  std::filesystem::create_directories(dir / "sessions");
  EXPECT_FALSE(sleeps(Outlook::kFinishedSoon));
  EXPECT_FALSE(sleeps(Outlook::kUnsettled));
  EXPECT_TRUE(sleeps_until([&] { put_file(dir / "reports" / "a.dmp", ""); }));
  EXPECT_FALSE(sleeps(Outlook::kQuiet)) << "after a change";
  EXPECT_TRUE(sleeps_until([&] { SetEvent(handler.get()); }));
  EXPECT_TRUE(watcher.wait(Outlook::kQuiet, {handler.get()}));
}

TEST(TextWin, BadSequencesAreReplaced) {
  // At least one replacement, and the text around it is kept. The system decides how many it writes
  // for one sequence.
  for (const char* bad : {"\x80", "\xC3", "\xFF", "\xED\xA0\x80", "\xC0\xAF", "\xF0\x9F\x98"}) {
    const std::wstring wide = utf8_to_wide("a" + std::string(bad) + "z");
    ASSERT_GE(wide.size(), 3u) << bad;
    EXPECT_EQ(wide.front(), L'a');
    EXPECT_EQ(wide.back(), L'z');
    EXPECT_EQ(wide.substr(1, wide.size() - 2), std::wstring(wide.size() - 2, L'\uFFFD')) << bad;
  }
  for (const wchar_t* bad : {L"\xD83D", L"\xDE00", L"\xDE00\xD83D"}) {
    const std::string text = wide_to_utf8(L"a" + std::wstring(bad) + L"z");
    EXPECT_EQ(text.substr(0, 4), "a\xEF\xBF\xBD");
    EXPECT_EQ(text.back(), 'z');
  }
}

}  // namespace
}  // namespace wrenfall
