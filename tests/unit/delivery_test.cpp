#include "report/delivery.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/capture_log.h"
#include "tests/support/fake_http_client.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

const HttpResponse kLocated = answer(200, R"({"status":"success","url":"https://bucket/key"})");
const HttpResponse kStored = answer(200, "");

// A folder with a report that can be sent.
struct Report {
  Report() : folder(dir.make_folder("report")) {
    record.database = "127";
    record.appName = record.appVersion = record.crashTypeId = "1";
    save(folder, record);
  }
  bool log_has(const std::string& text) const {
    return file_text(folder / "Wrenfall.log").find(text) != std::string::npos;
  }
  TempDir dir;
  std::filesystem::path folder;
  CrashData record;
};

TEST(Delivery, SuccessDeletesTheFolder) {
  Report report;
  FakeHttpClient http({kLocated, kStored, answer(200, R"({"status":"success","crashId":7})")});
  CaptureLog log;
  const UploadResult outcome = deliver(&http, report.folder, report.record, &log.logger);
  EXPECT_EQ(outcome.result, WRENFALL_OK);
  EXPECT_EQ(outcome.crashId, 7);
  EXPECT_FALSE(std::filesystem::exists(report.folder));
  EXPECT_TRUE(log.lines.empty());
}

TEST(Delivery, TransientFailuresKeepTheFolderTwice) {
  Report report;
  for (const int attempt : {1, 2, 3}) {
    FakeHttpClient http({answer(503, "busy")});
    CaptureLog log;
    const UploadResult outcome =
        deliver(&http, report.folder, report.record, attempt == 1 ? nullptr : &log.logger);
    EXPECT_EQ(outcome.result, WRENFALL_ERROR_SERVICE);
    EXPECT_EQ(outcome.httpStatus, 503);
    EXPECT_EQ(log.lines.size(), attempt == 1 ? 0u : 1u);
    EXPECT_EQ(std::filesystem::exists(report.folder), attempt < 3);
    if (attempt == 3) break;
    EXPECT_EQ(file_text(report.folder / "result.json"),
              R"({"cancelled":false,"crashId":0,"errorCode":11,"httpStatus":503,"infoUrl":"",)"
              R"("schemaVersion":2,"stackKeyId":0,"status":"failed"})");
    CrashData stored;
    ASSERT_TRUE(load(report.folder, stored));
    EXPECT_EQ(stored.retryCount, attempt);
    EXPECT_TRUE(
        report.log_has("ERROR Upload failed: getCrashUploadUrl returned 503: busy (http 503)\n"));
    // Where there is no other log, the retry rule's line goes to the folder as well.
    EXPECT_TRUE(report.log_has("INFO Incremented retry count to 1 for "));
    EXPECT_FALSE(report.log_has("INFO Incremented retry count to 2 for "));
  }
}

TEST(Delivery, PermanentFailuresDeleteTheFolder) {
  struct Case {
    std::vector<HttpResponse> answers;  // none: there is no client
    wrenfall_result result;
    int32_t http_status;
  };
  const Case cases[] = {
      {{answer(400, "")}, 12, 400},
      {{no_answer("down")}, 10, 0},
      {{kLocated, kStored, answer(200, "{}")}, 11, 200},
      {{kLocated, kStored, answer(200, R"({"status":"success","crashId":"7"})")}, 11, 200},
      {{}, 10, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.answers.empty() ? "no client" : c.answers.back().body + c.answers.back().error);
    Report report;
    FakeHttpClient http(c.answers);
    CaptureLog log;
    const UploadResult outcome =
        deliver(c.answers.empty() ? nullptr : &http, report.folder, report.record, &log.logger);
    EXPECT_EQ(outcome.result, c.result);
    EXPECT_EQ(outcome.httpStatus, c.http_status);
    EXPECT_FALSE(outcome.error.empty());
    EXPECT_EQ(http.requests.size(), c.answers.size());
    const std::string line = "1 Permanent HTTP error " + std::to_string(c.http_status) + " - ";
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0].substr(0, line.size()), line);
    EXPECT_FALSE(std::filesystem::exists(report.folder));
  }
}

TEST(Delivery, FillsTheHostsRecordOnlyWhenItIsLargeEnough) {
  UploadResult upload;
  upload.result = WRENFALL_ERROR_SERVICE;
  upload.httpStatus = 418;
  upload.crashId = INT64_MIN;
  upload.stackKeyId = 5;
  for (const std::string url : {"https://x/é", ""}) {
    upload.infoUrl = url;
    for (const uint32_t size : {0u, 39u, 40u, 41u, 0xFFFFFFFFu}) {
      char old[] = "old";
      wrenfall_upload_result result{size, -1, -1, -1, -1, old};
      fill_upload_result(upload, &result);
      const bool filled = size >= 40;
      EXPECT_EQ(result.size, size);
      EXPECT_EQ(result.result, filled ? 11 : -1) << size;
      EXPECT_EQ(result.http_status, filled ? 418 : -1) << size;
      EXPECT_EQ(result.crash_id, filled ? INT64_MIN : -1) << size;
      EXPECT_EQ(result.stack_key_id, filled ? 5 : -1) << size;
      EXPECT_STREQ(result.info_url, !filled ? "old" : url.empty() ? nullptr : url.c_str()) << size;
      if (filled) std::free(result.info_url);
    }
  }
  fill_upload_result(upload, nullptr);
}

}  // namespace
}  // namespace wrenfall
