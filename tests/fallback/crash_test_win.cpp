#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "handler_processes_win.h"

namespace {

namespace fs = std::filesystem;

constexpr DWORD kAccessViolation = 0xC0000005;
constexpr DWORD kKilled = 0xDEAD;
constexpr DWORD kClientTimeoutMs = 30000;
constexpr DWORD kHandlerEndTimeoutMs = 10000;

struct HandleCloser {
  void operator()(void* handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

fs::path own_folder() {
  wchar_t path[32768] = {};
  GetModuleFileNameW(nullptr, path, 32768);
  return fs::path(path).parent_path();
}

// Whether the file has content and nobody has it open.
bool is_complete(const fs::path& path) {
  const HANDLE opened =
      CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return false;
  const Handle file(opened);
  LARGE_INTEGER size = {};
  return GetFileSizeEx(file.get(), &size) && size.QuadPart > 0;
}

struct Outcome {
  DWORD exit_code = 0;
  int dumps = 0;  // Complete or not.
  int complete_dumps = 0;
  bool handlers_ended = false;
};

// A client in a job, so that the end of its handlers shows and nothing outlives the test.
class ClientRun {
 public:
  ClientRun(const std::wstring& scenario, const std::wstring& handler, const fs::path& database)
      : reports_(database / L"reports"), job_(CreateJobObjectW(nullptr, nullptr)) {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job_.get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits));
    const fs::path client = own_folder() / L"fallback_crash_client.exe";
    std::wstring command_line = L"client " + scenario + L" \"" +
                                (own_folder() / handler).wstring() + L"\" \"" + database.wstring() +
                                L"\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(client.c_str(), command_line.data(), nullptr, nullptr, FALSE,
                        CREATE_SUSPENDED, nullptr, nullptr, &startup, &process)) {
      throw std::runtime_error("cannot start the client");
    }
    process_.reset(process.hProcess);
    AssignProcessToJobObject(job_.get(), process.hProcess);
    ResumeThread(process.hThread);
    CloseHandle(process.hThread);
  }

  // Ends the handler as soon as a dump that is being written shows. False when none came.
  bool kill_handler_while_it_writes() {
    while (WaitForSingleObject(process_.get(), 1) == WAIT_TIMEOUT) {
      std::error_code error;
      for (const fs::directory_entry& entry : fs::directory_iterator(reports_, error)) {
        if (is_complete(entry.path())) continue;
        const std::vector<DWORD> handlers = handlers_of(GetProcessId(process_.get()));
        return handlers.size() == 1 && end_process(handlers[0]);
      }
    }
    return false;
  }

  Outcome wait() {
    Outcome outcome;
    const ULONGLONG start = GetTickCount64();
    while (WaitForSingleObject(process_.get(), 10) == WAIT_TIMEOUT) {
      if (GetTickCount64() - start > kClientTimeoutMs) {
        ADD_FAILURE() << "the client blocks";
        TerminateProcess(process_.get(), kKilled);
      }
    }
    GetExitCodeProcess(process_.get(), &outcome.exit_code);
    outcome.handlers_ended = wait_for_handlers();
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(reports_, error)) {
      ++outcome.dumps;
      if (is_complete(entry.path())) ++outcome.complete_dumps;
    }
    return outcome;
  }

 private:
  bool wait_for_handlers() const {
    for (DWORD waited = 0; waited < kHandlerEndTimeoutMs; waited += 50) {
      JOBOBJECT_BASIC_ACCOUNTING_INFORMATION info = {};
      if (!QueryInformationJobObject(job_.get(), JobObjectBasicAccountingInformation, &info,
                                     sizeof(info), nullptr)) {
        return false;
      }
      if (info.ActiveProcesses == 0) return true;
      Sleep(50);
    }
    return false;
  }

  const fs::path reports_;
  const Handle job_;
  Handle process_;
};

class CrashTest : public testing::Test {
 protected:
  CrashTest()
      : folder_(fs::temp_directory_path() /
                (L"wrenfall fallback gr\u00FC\u00DFe " + std::to_wstring(GetCurrentProcessId()))) {
    fs::create_directories(folder_);
  }
  ~CrashTest() override {
    std::error_code error;
    fs::remove_all(folder_, error);
  }

  const fs::path folder_;
};

// The whole road has the same through Wrenfall.dll, except for what starts without waiting.
TEST_F(CrashTest, TheProcessEnds) {
  const struct {
    const wchar_t* scenario;
    const wchar_t* handler;
    int dumps;
  } cases[] = {
      {L"crash", L"crashpad_handler.exe", 1},
      {L"asynchronous", L"fallback_crash_relay.exe", 1},
      {L"killed_handler", L"crashpad_handler.exe", 0},
      {L"killed_handler", L"fallback_crash_relay.exe", 0},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(test.scenario)) + " " +
                 testing::PrintToString(std::wstring(test.handler)));
    const fs::path database = folder_ / test.scenario / test.handler / L"data base";
    const Outcome outcome = ClientRun(test.scenario, test.handler, database).wait();
    EXPECT_EQ(outcome.exit_code, kAccessViolation);
    EXPECT_TRUE(outcome.handlers_ended);
    EXPECT_EQ(outcome.dumps, test.dumps);
    EXPECT_EQ(outcome.complete_dumps, test.dumps);
  }
}

// The handler has the client suspended at that time, and half a dump on disk.
TEST_F(CrashTest, HandlerKilledInTheMiddleOfADump) {
  ClientRun client(L"dump_until_killed", L"fallback_crash_relay.exe", folder_ / L"killed");
  EXPECT_TRUE(client.kill_handler_while_it_writes());
  const Outcome outcome = client.wait();
  EXPECT_EQ(outcome.exit_code, 0u);
  EXPECT_TRUE(outcome.handlers_ended);
  EXPECT_EQ(outcome.complete_dumps, outcome.dumps);
}

}  // namespace
