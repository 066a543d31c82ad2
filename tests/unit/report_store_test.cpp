#include "report/report_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "report/crash_data.h"
#include "report/report_result.h"
#include "support/process.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

Names names_of(const std::vector<fs::path>& folders) {
  Names names;
  for (const fs::path& folder : folders) names.push_back(path_to_utf8(folder.filename()));
  return names;
}

TEST(ReportStore, ListsTheOldestRecordFirst) {
  const TempDir dir;
  // Neither the order of the names nor that of the folders' making.
  for (const char* name : {"m", "z", "é 試", "a"}) dir.make_folder(utf8_to_path(name));
  for (const char* name : {"z", "a", "é 試", "m"}) {
    put_file(dir.path() / utf8_to_path(name) / kCrashDataFile, "whatever");
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
  }
  EXPECT_EQ(names_of(list_report_folders(dir.path())), (Names{"z", "a", "é 試", "m"}));
  put_file(dir.path() / "a" / "dump.dmp", "newer, but no record");
  put_file(dir.path() / "z" / kCrashDataFile, "rewritten");
  EXPECT_EQ(names_of(list_report_folders(dir.path())), (Names{"a", "é 試", "m", "z"}));
  EXPECT_EQ(list_report_folders(dir.path()).front(), dir / "a");
}

TEST(ReportStore, ListsOnlyFoldersWithARecordFile) {
  const TempDir dir;
  put_file(dir.path() / "report" / kCrashDataFile, "");
  put_file(dir.path() / "dump only" / "x.dmp", "x");
  put_file(dir.path() / "too deep" / "sub" / kCrashDataFile, "{}");
  fs::create_directories(dir.path() / "record is a folder" / kCrashDataFile);
  put_file(dir / kCrashDataFile, "{}");
  EXPECT_EQ(names_of(list_report_folders(dir.path())), Names{"report"});
  EXPECT_TRUE(list_report_folders(dir / "missing").empty());
}

TEST(ReportStore, PendingAreReadableUnsentAndNobodyElses) {
  const TempDir dir;
  const std::string own = std::to_string(current_process_id());
  const std::pair<const char*, std::string> pending_records[] = {
      {"no owner", R"({"ownerPid":0})"},
      {"empty object", "{}"},
      {"own", "{\"ownerPid\":" + own + "}"},
      {"dead owner", R"({"ownerPid":4294967292})"},
      {"impossible owner", R"({"ownerPid":18446744073709551615})"},
      // The same in its lower 32 bits as this process, but no process at all.
      {"plus 2^32", "{\"ownerPid\":" + std::to_string((1ull << 32) + current_process_id()) + "}"},
      {"result half written", "{}"}};
  const std::pair<const char*, const char*> other_records[] = {{"cut off", R"({"ownerPid":0)"},
                                                               {"no object", "[]"},
                                                               {"empty file", ""},
                                                               {"failed", "{}"},
                                                               {"empty result", "{}"},
                                                               {"result is a folder", "{}"}};
  Names expected;
  for (const auto& [name, text] : pending_records) {
    put_file(dir.path() / name / kCrashDataFile, text);
    expected.push_back(name);
  }
  for (const auto& [name, text] : other_records) put_file(dir.path() / name / kCrashDataFile, text);
  put_file(dir.path() / "result half written" / "result.json.tmp", "{}");
  EXPECT_TRUE(write_result(dir / "failed", ReportResult()));
  put_file(dir.path() / "empty result" / "result.json", "");
  fs::create_directories(dir.path() / "result is a folder" / "result.json");

  Names pending = names_of(pending_report_folders(dir.path()));
  std::sort(pending.begin(), pending.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(pending, expected);
  EXPECT_EQ(list_report_folders(dir.path()).size(),
            std::size(pending_records) + std::size(other_records))
      << "the scan deleted something";
}

TEST(ReportStore, DiscardsReportsAndNothingElse) {
  const TempDir dir;
  const fs::path root = dir.make_folder("store");
  const fs::path kept[] = {dir.path() / "documents" / "thesis", root / "deep" / "inner" / "dump",
                           root / "sessions" / "1-2.json", root / "crashpad" / "settings.dat",
                           root / "a file"};
  put_file(root / "report" / kCrashDataFile, "{}");
  put_file(root / "report" / "sub" / "dump", "x");
  put_file(root / "no record" / "dump", "x");
  put_file(root / "with slash" / "dump", "x");
  put_file(dir.path() / "elsewhere" / kCrashDataFile, "{}");
  const std::pair<fs::path, bool> cases[] = {{root / "report", true},
                                             {root / "no record", true},
                                             {root / "with slash" / "", true},
                                             {dir / "elsewhere", true},
                                             {dir / "documents", false},
                                             {root / "deep" / "inner", false},
                                             {root / "sessions", false},
                                             {root / "sessions" / "", false},
                                             {root / "crashpad", false},
                                             {root / "SESSIONS", false},
                                             {root / "a file", false},
                                             {root / "missing", false},
                                             {root, false},
                                             {root / "", false},
                                             {root / ".", false},
                                             {root / "deep" / "..", false},
                                             {root / "..", false},
                                             {"", false}};
  for (const auto& [folder, discarded] : cases) {
    for (const fs::path& file : kept) put_file(file, "x");
    EXPECT_EQ(discard_report_folder(root, folder), discarded) << path_to_utf8(folder);
    EXPECT_FALSE(discarded && fs::exists(folder)) << path_to_utf8(folder);
    for (const fs::path& file : kept) {
      EXPECT_EQ(file_text(file), "x") << path_to_utf8(folder) << " cost " << path_to_utf8(file);
    }
  }
}

TEST(ReportResult, HasThisText) {
  const TempDir dir;
  UploadResult upload;
  upload.httpStatus = 200;
  upload.crashId = INT64_MAX;
  upload.stackKeyId = -7;
  upload.messageId = 5;
  upload.infoUrl = "https://x/é?a=\"b\"";
  upload.status = "not stored";
  upload.error = "not stored";
  const std::pair<wrenfall_result, std::string> cases[] = {{0, "uploaded"}, {12, "rejected"},
                                                           {1, "failed"},   {7, "failed"},
                                                           {10, "failed"},  {11, "failed"}};
  for (const auto& [code, word] : cases) {
    upload.result = code;
    ASSERT_TRUE(write_result(dir / "report", make_report_result(upload)));
    EXPECT_EQ(file_text(dir.path() / "report" / "result.json"),
              R"({"cancelled":false,"crashId":9223372036854775807,"errorCode":)" +
                  std::to_string(code) +
                  R"(,"httpStatus":200,"infoUrl":"https://x/é?a=\"b\"","schemaVersion":2,)" +
                  R"("stackKeyId":-7,"status":")" + word + "\"}");
  }
  put_file(dir / "file", "x");
  EXPECT_FALSE(write_result(dir / "file", ReportResult()));
}

}  // namespace
}  // namespace wrenfall
