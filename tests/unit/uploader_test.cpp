#include "upload/uploader.h"

#include <gtest/gtest.h>

#include "tests/support/capture_log.h"
#include "tests/support/fake_http_client.h"
#include "tests/support/temp_dir.h"
#include "upload/report_archive.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;
using Answers = std::vector<HttpResponse>;

fs::path make_report(const TempDir& dir) {
  const fs::path folder = dir.make_folder("report");
  put_file(folder / "WrenfallCrashData.json", "{}");
  put_file(folder / "x.dmp", "dump");
  return folder;
}

// What each refusal is called in the log. Which result it has is seen over real HTTPS.
TEST(Uploader, NamesTheCallAndTheReason) {
  const auto first = [](HttpResponse response) { return Answers{std::move(response)}; };
  const auto put = [](HttpResponse response) {
    return Answers{commit_answered({})[0], std::move(response)};
  };
  const auto commit = commit_answered;
  std::string long_answer(5000, 'x');
  long_answer.replace(4094, 3, "\xE2\x82\xAC");
  const std::pair<Answers, std::string> cases[] = {
      {first(no_answer("down")), "getCrashUploadUrl: down"},
      {first(answer(429, "slow down")), "getCrashUploadUrl: rate limited"},
      {first(answer(500, "oops")), "getCrashUploadUrl returned 500: oops"},
      {first(answer(500, long_answer)),
       "getCrashUploadUrl returned 500: " + std::string(4094, 'x')},
      {first(answer(200, "[]")), "getCrashUploadUrl rejected the report: []"},
      // Characters that would cut the URL of the commit, or begin another line.
      {first(answer(200, R"({"url":"https://b/\u0000","status":"success"})")),
       R"(getCrashUploadUrl rejected the report: {"url":"https://b/\u0000","status":"success"})"},
      {first(answer(200, R"({"url":"https://b/\n","status":"success"})")),
       R"(getCrashUploadUrl rejected the report: {"url":"https://b/\n","status":"success"})"},
      {put(no_answer("reset")), "PUT: reset"},
      {put(answer(403, "<xml>")), "PUT returned 403: <xml>"},
      {commit(no_answer("late")), "commit: late"},
      {commit(answer(400, "x")), "commit returned 400: x"},
      {commit(answer(200, "{")), "commit response is not JSON: {"},
      {commit(answer(200, R"({"status":"%s%n"})")), "commit status: %s%n"},
      {commit(answer(200, R"({"status":"success","crashId":"7"})")),
       "[json.exception.type_error.302] type must be number, but is string"},
  };
  for (const auto& [answers, error] : cases) {
    const TempDir dir;
    const fs::path folder = make_report(dir);
    FakeHttpClient http(answers);
    CaptureLog log;
    const UploadResult outcome = upload_report({http, log.logger}, complete_record(), folder);
    EXPECT_EQ(outcome.error, error);
    const std::string line =
        "Upload failed: " + error + " (http " + std::to_string(answers.back().status) + ")";
    EXPECT_EQ(log.lines, std::vector<std::string>{"3 " + line.substr(0, 4095)});
    EXPECT_TRUE(fs::exists(folder / "WrenfallCrash.zip"));
  }
}

TEST(Uploader, TakesIdsAsTheyAreAndLeavesNoArchive) {
  const std::pair<const char*, int64_t> rows[] = {{"18446744073709551615", -1},
                                                  {"9223372036854775808", INT64_MIN},
                                                  {"-7", -7},
                                                  {"2.9", 2},
                                                  {"1e300", 0},
                                                  {"18446744073709551616", 0}};
  for (const auto& [id, expected] : rows) {
    const TempDir dir;
    const fs::path folder = make_report(dir);
    const std::string ids = std::string(R"("crashId":1,"stackKeyId":)") + id;
    FakeHttpClient http(commit_answered(answer(200, R"({"status":"success",)" + ids + "}")));
    CaptureLog log;
    EXPECT_EQ(upload_report({http, log.logger}, complete_record(), folder).stack_key_id, expected)
        << id;
    EXPECT_EQ(log.lines, std::vector<std::string>{"1 Crash uploaded: crashId=1 stackKeyId=" +
                                                  std::to_string(expected) + " infoUrl="});
    EXPECT_FALSE(fs::exists(folder / "WrenfallCrash.zip"));
    EXPECT_TRUE(fs::exists(folder / "x.dmp"));
  }
}

TEST(Uploader, IncompleteRecordsTouchNothing) {
  std::string CrashData::*const required[] = {&CrashData::database, &CrashData::appName,
                                              &CrashData::appVersion, &CrashData::crashTypeId};
  for (const auto field : required) {
    const TempDir dir;
    const fs::path folder = make_report(dir);
    CrashData data = complete_record();
    data.*field = "";
    FakeHttpClient http({});
    Logger silent;
    const UploadResult outcome = upload_report({http, silent}, data, folder);
    EXPECT_EQ(outcome.result, WRENFALL_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(outcome.error, "database, appName, appVersion and crashTypeId are required");
    EXPECT_FALSE(fs::exists(folder / "WrenfallCrash.zip"));
  }
}

TEST(Uploader, PacksTightly) {
  const TempDir dir;
  std::string text;
  for (unsigned i = 0; i < 20000; ++i) {
    text += "frame " + std::to_string(i % 331) + ": module " + std::to_string(i * i % 61) +
            ".dll + " + std::to_string(i * 7919 % 1013) + "\n";
  }
  put_file(dir / "report" / "log.txt", text);
  Logger silent;
  ASSERT_TRUE(write_report_archive(dir / "report", dir / "a.zip", silent));
  // The fastest level needs 128,000 bytes, the best 98,000.
  EXPECT_LT(fs::file_size(dir / "a.zip"), 109000u);
}

}  // namespace
}  // namespace wrenfall
