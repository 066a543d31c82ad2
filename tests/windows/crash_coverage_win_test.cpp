// The exception-filter guard and the error-reporting module, each in a process of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "backend/filter_guard_win.h"
#include "backend/wer_module_win.h"
#include "support/paths.h"
#include "support/scrub.h"
#include "tests/support/capture_log.h"
#include "tests/support/temp_dir.h"
#include "tests/windows/child_process_win.h"

namespace wrenfall {
namespace {

constexpr UINT kFirstFilterRan = 41;
constexpr UINT kSecondFilterRan = 42;

LONG WINAPI first_filter(EXCEPTION_POINTERS*) {
  TerminateProcess(GetCurrentProcess(), kFirstFilterRan);
  return EXCEPTION_EXECUTE_HANDLER;
}
LONG WINAPI second_filter(EXCEPTION_POINTERS*) {
  TerminateProcess(GetCurrentProcess(), kSecondFilterRan);
  return EXCEPTION_EXECUTE_HANDLER;
}

const void* filter_setter() {
  return reinterpret_cast<const void*>(
      GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetUnhandledExceptionFilter"));
}

DWORD protection_of_code() {
  MEMORY_BASIC_INFORMATION memory{};
  VirtualQuery(filter_setter(), &memory, sizeof memory);
  return memory.Protect;
}

}  // namespace

int play_filter_guard_role(bool guarded) {
  CaptureLog log;
  SetUnhandledExceptionFilter(first_filter);
  const DWORD protection = protection_of_code();
  if (guarded) {
    guard_exception_filter(&log.logger);
    if (log.lines != std::vector<std::string>{"1 SetUnhandledExceptionFilter guarded"}) return 50;
    guard_exception_filter(nullptr);
  }
  if (protection_of_code() != protection) return 51;
  if ((std::memcmp(filter_setter(), "\x90\x33\xC0\x90\xC3", 5) == 0) != guarded) return 54;
  const auto previous = SetUnhandledExceptionFilter(second_filter);
  if (previous != (guarded ? nullptr : first_filter)) return 52;
  RaiseException(0xE0001234, EXCEPTION_NONCONTINUABLE, 0, nullptr);
  return 53;
}

int play_wer_module_role(bool registers) {
  Logger logger(application_dir() / "child.log");
  std::filesystem::path registered;
  const bool covered = register_wer_module(
      [&](const std::filesystem::path& module) {
        registered = module;
        return registers;
      },
      &logger);
  const bool right_path = registered == application_dir() / "WrenfallWer.dll";
  return (covered ? 1 : 0) + (registered.empty() ? 0 : right_path ? 2 : 4);
}

namespace {

TEST(FilterGuard, KeepsTheFilterThatIsInstalled) {
  EXPECT_EQ(ChildProcess(L"guarded").wait(), kFirstFilterRan);
  EXPECT_EQ(ChildProcess(L"unguarded").wait(), kSecondFilterRan);
}

TEST(WerModule, IsTakenFromTheLibrarysFolder) {
  const TempDir dir;
  const auto program = dir / "program.exe";
  std::filesystem::copy_file(ChildProcess::own_program(), program);

  const auto check = [&](const wchar_t* role, DWORD exit_code, const std::string& logged) {
    std::filesystem::remove(dir / "child.log");
    EXPECT_EQ(ChildProcess(role, program).wait(), exit_code);
    const std::string log = file_text(dir / "child.log");
    const size_t time_and_id = log.size() - std::min(log.size(), logged.size());
    EXPECT_EQ(log.substr(time_and_id), logged) << log;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
  };
  check(L"registers", 0,
        "WARN WrenfallWer.dll not found next to the library; WER coverage disabled\n");
  put_file(dir / "WrenfallWer.dll", "");
  const std::string module = scrub_user_names(path_to_utf8(dir / "WrenfallWer.dll"));
  const std::string off =
      " allow-listed=0 -> coverage off (add the DLL path to HKLM RuntimeExceptionHelperModules)\n";
  check(L"registers", 2, "INFO WER helper " + module + ": registered=1" + off);
  check(L"fails", 2, "INFO WER helper " + module + ": registered=0" + off);
}

}  // namespace
}  // namespace wrenfall
