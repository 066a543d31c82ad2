// The backend over a capture client that notes what it is asked for.
// clang-format off
#include <windows.h>
#include <client/crashpad_client.h>
#include <client/crashpad_info.h>
// clang-format on

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <future>
#include <thread>

#include "backend/backend.h"
#include "client/annotation_list.h"
#include "handler/annotation_snapshot.h"
#include "hang/hang_report.h"
#include "tests/support/capture_log.h"
#include "tests/support/temp_dir.h"

namespace {

using Texts = std::map<std::string, std::string>;

// The live annotations, as a handler finds them.
Texts live() {
  Texts texts;
  const auto read = [](uint64_t address, void* buffer, size_t size) {
    SIZE_T done = 0;
    return ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(address), buffer,
                             size, &done) &&
           done == size;
  };
  const auto head = reinterpret_cast<uintptr_t>(crashpad::internal::annotation_list_head());
  for (const auto& annotation : crashpad::internal::read_live_annotations(read, head)) {
    texts.emplace(annotation.name, annotation.value);
  }
  return texts;
}

struct Client {
  DWORD start_error = 0;
  std::string url;
  bool restartable = false, asynchronous = true;
  std::function<void(const CONTEXT&)> dump;
  std::wstring database;
};

Client client;

// What a failed start may leave in force.
LONG WINAPI wait_for_no_handler(EXCEPTION_POINTERS*) { return EXCEPTION_EXECUTE_HANDLER; }

}  // namespace

namespace crashpad {

bool CrashpadClient::StartHandler(const base::FilePath&, const base::FilePath& database,
                                  const base::FilePath&, const std::string& url,
                                  const std::map<std::string, std::string>&,
                                  const std::vector<std::string>&, bool restartable,
                                  bool asynchronous_start, const std::vector<base::FilePath>&) {
  client = {client.start_error, url, restartable, asynchronous_start, nullptr, database.value()};
  if (client.start_error != 0) SetUnhandledExceptionFilter(wait_for_no_handler);
  SetLastError(client.start_error);
  return client.start_error == 0;
}

bool CrashpadClient::RegisterWerModule(const std::wstring&) { return false; }

void CrashpadClient::DumpWithoutCrash(const CONTEXT& context) { client.dump(context); }

}  // namespace crashpad

namespace wrenfall {
namespace {

struct BackendTest : ::testing::Test {
  wrenfall_result start() {
    BackendConfiguration configuration;
    configuration.handler_path = L"C:\\no\\monitor.exe";
    configuration.database_dir = L"C:\\" + std::wstring(200, L'd');
    configuration.protect_exception_filter = false;
    configuration.logger = &log.logger;
    return backend->start(configuration);
  }

  CaptureLog log;
  std::unique_ptr<Backend> backend = make_crashpad_backend(std::chrono::milliseconds(100));
};

TEST_F(BackendTest, StartsTheHandlerOnce) {
  ASSERT_EQ(start(), WRENFALL_OK);
  EXPECT_EQ(client.url, "");
  EXPECT_EQ(client.database.substr(0, 4), LR"(\\?\)") << "with a dump's name it is too long";
  EXPECT_TRUE(client.restartable);
  EXPECT_FALSE(client.asynchronous);
  EXPECT_EQ(crashpad::CrashpadInfo::GetCrashpadInfo()->gather_indirectly_referenced_memory(),
            crashpad::TriState::kDisabled);
  EXPECT_EQ(start(), WRENFALL_ERROR_ALREADY_INITIALIZED);
}

TEST_F(BackendTest, SaysWhyTheHandlerDidNotStart) {
  const TempDir files;
  const std::filesystem::path handler = files.add("handler.exe", "");
  files.add("file/reports", "");
  const struct {
    std::filesystem::path handler;
    std::filesystem::path database;
    DWORD error;
    std::string text;
  } rows[] = {
      {files.path() / "none.exe", files.path(), ERROR_FILE_NOT_FOUND, "the file is missing"},
      {handler, handler, 1, "handler.exe is not a folder"},
      {handler, files.path() / "file", ERROR_PROCESS_ABORTED, "file\\reports is not a folder"},
      {handler, files.path(), ERROR_FILENAME_EXCED_RANGE,
       "its command line, which holds the facts that init was given, is too long"},
      {handler, files.path(), ERROR_ACCESS_DENIED, "access denied"},
      {handler, files.path(), ERROR_BAD_EXE_FORMAT, "error 193"},
  };
  for (const auto& row : rows) {
    BackendConfiguration configuration;
    configuration.handler_path = row.handler;
    configuration.database_dir = row.database;
    configuration.logger = &log.logger;
    client.start_error = row.error;
    SetUnhandledExceptionFilter(nullptr);
    EXPECT_EQ(backend->start(configuration), WRENFALL_ERROR_HANDLER_START_FAILED) << row.text;
    EXPECT_EQ(SetUnhandledExceptionFilter(nullptr), nullptr) << row.text;
    const std::string failed = log.lines.at(log.lines.size() - 2);
    const std::string why = log.lines.back();
    EXPECT_EQ(failed.find("3 StartHandler failed for "), 0u) << failed;
    EXPECT_EQ(why.find("3 The capture handler did not start: "), 0u) << why;
    // User names are taken out of paths.
    EXPECT_EQ(why.substr(why.size() - std::min(why.size(), row.text.size())), row.text);
  }
  client.start_error = 0;
  EXPECT_EQ(backend->capture("capture"), WRENFALL_ERROR_NOT_INITIALIZED);
}

TEST_F(BackendTest, DumpsOnDemandSayWhatTheyAreOf) {
  EXPECT_EQ(backend->capture("capture"), WRENFALL_ERROR_NOT_INITIALIZED);
  ASSERT_EQ(start(), WRENFALL_OK);
  Texts texts;
  DWORD64 stack_pointer = 0;
  DWORD dumping_thread = 0;
  client.dump = [&](const CONTEXT& context) {
    texts = live();
    stack_pointer = context.Rsp;
    dumping_thread = GetCurrentThreadId();
  };
  ASSERT_EQ(backend->capture("capture"), WRENFALL_OK);
  EXPECT_EQ(texts["wrenfall.reportKind"], "capture");
  EXPECT_EQ(texts["wrenfall.threadId"], std::to_string(GetCurrentThreadId()));
  EXPECT_NE(dumping_thread, GetCurrentThreadId());
  ULONG_PTR low = 0, high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  EXPECT_TRUE(low <= stack_pointer && stack_pointer < high);
  EXPECT_EQ(live(), Texts());
  backend->set_annotation("user", "gone with the end");
  backend->stop();
  EXPECT_EQ(live(), Texts());
}

TEST_F(BackendTest, ADumpThatComesLateStillSaysWhatItIsOf) {
  ASSERT_EQ(start(), WRENFALL_OK);
  backend->set_annotation("user", "before");
  std::promise<void> release;
  std::promise<Texts> late;
  client.dump = [&](const CONTEXT&) {
    release.get_future().wait();
    late.set_value(live());
  };
  capture_hang(*backend, log.logger, WRENFALL_HANG_REPORT_AND_TERMINATE, {"ui", 1234, 56});
  ASSERT_EQ(live()["wrenfall.reportKind"], "hang") << "the capture has not been given up";
  // Refused, for the handler still owes the first.
  capture_hang(*backend, log.logger, WRENFALL_HANG_REPORT, {"other", 7, 8});
  EXPECT_EQ(backend->capture("capture"), WRENFALL_ERROR_HANDLER_START_FAILED);
  backend->set_annotation("user", "after");
  // A shutdown changes nothing about it either.
  backend.reset();
  release.set_value();
  const Texts texts = late.get_future().get();
  EXPECT_EQ(texts, (Texts{{"wrenfall.reportKind", "hang"},
                          {"wrenfall.threadId", std::to_string(GetCurrentThreadId())},
                          {"wrenfall.hangThread", "ui"},
                          {"wrenfall.hangThreadId", "56"},
                          {"wrenfall.hangDurationMs", "1234"},
                          {"wrenfall.hangPolicy", "terminate"}}));
  while (!live().empty()) Sleep(1);  // cleared when it has come
}

}  // namespace
}  // namespace wrenfall
