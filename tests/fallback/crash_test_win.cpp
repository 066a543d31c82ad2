#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "dump_reader.h"
#include "handler_processes_win.h"

namespace {

namespace fs = std::filesystem;

constexpr DWORD kAccessViolation = 0xC0000005;
constexpr DWORD kRequested = 0x0517A7ED;
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

// The file's bytes, or nothing while somebody else has it open.
Bytes read_unshared(const fs::path& path) {
  const HANDLE opened =
      CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return {};
  const Handle file(opened);
  LARGE_INTEGER size = {};
  GetFileSizeEx(file.get(), &size);
  Bytes bytes(static_cast<size_t>(size.QuadPart));
  DWORD done = 0;
  if (!ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr))
    return {};
  return bytes;
}

struct Outcome {
  DWORD exit_code = 0;
  std::vector<Dump> dumps;  // In the order in which they became complete.
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
        if (!read_unshared(entry.path()).empty()) continue;
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
      collect_dumps(&outcome);
    }
    GetExitCodeProcess(process_.get(), &outcome.exit_code);
    outcome.handlers_ended = wait_for_handlers();
    collect_dumps(&outcome);
    return outcome;
  }

 private:
  // Takes every dump at the first moment at which it can be opened unshared; it must be complete
  // then.
  void collect_dumps(Outcome* outcome) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(reports_, error)) {
      if (seen_[entry.path()]) continue;
      const Bytes bytes = read_unshared(entry.path());
      if (bytes.empty()) continue;
      seen_[entry.path()] = true;
      EXPECT_EQ(entry.path().extension(), L".dmp");
      outcome->dumps.push_back(parse_dump(bytes));
    }
  }

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
  std::map<fs::path, bool> seen_;
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
  Outcome run(const std::wstring& scenario, const std::wstring& handler) {
    return ClientRun(scenario, handler, folder_ / scenario / handler / L"data base").wait();
  }

  const fs::path folder_;
};

void expect_whole(const Dump& dump, const std::string& run) {
  EXPECT_EQ(std::count(dump.thread_ids.begin(), dump.thread_ids.end(), dump.exception_thread), 1);
  EXPECT_NE(dump.instruction_pointer, 0u);
  ASSERT_FALSE(dump.modules.empty());
  EXPECT_NE(dump.modules[0].find("fallback_crash_client.exe"), std::string::npos)
      << dump.modules[0];
  EXPECT_NE(dump.annotations.report_id, Bytes(16, 0));
  EXPECT_GT(dump.memory_bytes, 0u);

  Pairs start_up = dump.annotations.start_up;
  start_up.erase(std::remove_if(start_up.begin(), start_up.end(),
                                [](const auto& pair) { return pair.first.find("wrenfall.") == 0; }),
                 start_up.end());
  const Pairs expected = {{"empty", ""},
                          {"equals", "a=b"},
                          {"path", "C:\\my folder\\"},
                          {"run", run},
                          {"utf-8", "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80"},
                          {"words", "two words, a \"quote\" and a \\\" mix"}};
  EXPECT_EQ(start_up, expected);
  const Pairs live = {{"newer", "second \"value\""}, {"older", "first value"}};
  EXPECT_EQ(dump.annotations.live, live);
  EXPECT_EQ(dump.annotations.live_types, std::vector<uint16_t>(2, 1));
}

TEST_F(CrashTest, DumpsArriveAndTheProcessEnds) {
  struct ExpectedDump {
    DWORD code;
    const char* run;
  };
  const struct {
    const wchar_t* scenario;
    const wchar_t* handler;
    DWORD exit_code;
    std::vector<ExpectedDump> dumps;
  } cases[] = {
      {L"crash", L"crashpad_handler.exe", kAccessViolation, {{kAccessViolation, "1"}}},
      {L"crash", L"fallback_crash_relay.exe", kAccessViolation, {{kAccessViolation, "1"}}},
      {L"worker", L"crashpad_handler.exe", kAccessViolation, {{kAccessViolation, "1"}}},
      {L"threads", L"crashpad_handler.exe", kAccessViolation, {{kAccessViolation, "1"}}},
      {L"asynchronous", L"fallback_crash_relay.exe", kAccessViolation, {{kAccessViolation, "1"}}},
      {L"stack_overflow", L"crashpad_handler.exe", 0xC00000FD, {{0xC00000FD, "1"}}},
      {L"abort", L"crashpad_handler.exe", 0x40000015, {{0x40000015, "1"}}},
      {L"heap_corruption", L"crashpad_handler.exe", 0xC0000374, {{0xC0000374, "1"}}},
      {L"dump_twice", L"crashpad_handler.exe", 0, {{kRequested, "1"}, {kRequested, "1"}}},
      {L"dump_twice", L"fallback_crash_relay.exe", 0, {{kRequested, "1"}, {kRequested, "1"}}},
      {L"restart",
       L"crashpad_handler.exe",
       kAccessViolation,
       {{kRequested, "1"}, {kAccessViolation, "3"}}},
      {L"restart",
       L"fallback_crash_relay.exe",
       kAccessViolation,
       {{kRequested, "1"}, {kAccessViolation, "3"}}},
      {L"killed_handler", L"crashpad_handler.exe", kAccessViolation, {}},
      {L"killed_handler", L"fallback_crash_relay.exe", kAccessViolation, {}},
      {L"start_fails", L"missing.exe", 0, {}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(test.scenario)) + " " +
                 testing::PrintToString(std::wstring(test.handler)));
    const Outcome outcome = run(test.scenario, test.handler);
    EXPECT_EQ(outcome.exit_code, test.exit_code);
    EXPECT_TRUE(outcome.handlers_ended);
    EXPECT_EQ(outcome.dumps.size(), test.dumps.size());
    if (outcome.dumps.size() != test.dumps.size()) continue;
    for (size_t i = 0; i < test.dumps.size(); ++i) {
      EXPECT_EQ(outcome.dumps[i].exception_code, test.dumps[i].code);
      expect_whole(outcome.dumps[i], test.dumps[i].run);
      if (test.dumps[i].code == kAccessViolation) {
        EXPECT_EQ(outcome.dumps[i].instruction_pointer, outcome.dumps[i].exception_address);
      }
    }
  }
}

// The handler has the client suspended at that time, and half a dump on disk.
TEST_F(CrashTest, HandlerKilledInTheMiddleOfADump) {
  const fs::path database = folder_ / L"killed";
  ClientRun client(L"dump_until_killed", L"fallback_crash_relay.exe", database);
  EXPECT_TRUE(client.kill_handler_while_it_writes());
  const Outcome outcome = client.wait();
  EXPECT_EQ(outcome.exit_code, 0u);
  EXPECT_TRUE(outcome.handlers_ended);
  for (const fs::directory_entry& entry : fs::directory_iterator(database / L"reports")) {
    EXPECT_FALSE(read_unshared(entry.path()).empty()) << entry.path();
  }
}

TEST_F(CrashTest, LargerTypesHoldMoreMemory) {
  // Wine's dump writer knows no type between a small and a full dump.
  std::vector<uint64_t> sizes;
  for (const wchar_t* scenario : {L"crash", L"heap", L"full"}) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(scenario)));
    const Outcome outcome = run(scenario, L"crashpad_handler.exe");
    ASSERT_EQ(outcome.dumps.size(), 1u);
    expect_whole(outcome.dumps[0], "1");
    sizes.push_back(outcome.dumps[0].memory_bytes);
  }
  EXPECT_GE(sizes[1], sizes[0]);
  EXPECT_GT(sizes[2], sizes[1]);
}

TEST_F(CrashTest, DatabaseThatCannotBeCreated) {
  std::ofstream(folder_ / L"file") << "in the way";
  for (const wchar_t* handler : {L"crashpad_handler.exe", L"fallback_crash_relay.exe"}) {
    const Outcome outcome = ClientRun(L"start_fails", handler, folder_ / L"file" / L"db").wait();
    EXPECT_EQ(outcome.exit_code, 0u);
    EXPECT_TRUE(outcome.handlers_ended);
  }
}

}  // namespace
