#include "reporter/owned_report.h"

#include <gtest/gtest.h>

#include "report/report_result.h"
#include "support/files.h"
#include "support/process.h"
#include "temporary_folder.h"

namespace wrenfall {
namespace {

// Answers every request with one status, and looks at the record while a request runs.
class OneAnswer : public HttpClient {
 public:
  OneAnswer(int32_t status, std::string body, std::filesystem::path folder)
      : status_(status), body_(std::move(body)), folder_(std::move(folder)) {}

  HttpResponse request(const std::string&, const std::string&, const HttpHeaders&,
                       const std::string&) override {
    CrashData record;
    if (load(folder_, record)) owner_seen_ = record.ownerPid;
    HttpResponse response;
    response.result = WRENFALL_OK;
    response.status = status_;
    response.body = body_;
    return response;
  }
  HttpResponse request_file(const std::string& method, const std::string& url,
                            const HttpHeaders& headers, const std::filesystem::path&) override {
    return request(method, url, headers, "");
  }

  uint64_t owner_seen_ = 0;

 private:
  const int32_t status_;
  const std::string body_;
  const std::filesystem::path folder_;
};

TEST(OwnedReport, TakesTheReportOverAndGivesItBackWhenItIsKept) {
  constexpr char kSuccess[] = R"({"status":"success","url":"https://127.0.0.1/x","crashId":7})";
  const struct {
    int32_t status;
    const char* body;
    wrenfall_result result;
    bool kept;
    const char* log;
  } rows[] = {
      {200, kSuccess, WRENFALL_OK, false, "Report sent"},
      {503, "", WRENFALL_ERROR_SERVICE, true, "Incremented retry count to 1"},
      {400, "", WRENFALL_ERROR_REJECTED, false, "Permanent HTTP error 400"},
      // An id that is no number leaves the upload as an exception, which becomes a result.
      {200, R"({"status":"success","url":"u","crashId":"x"})", WRENFALL_ERROR_SERVICE, false,
       "Permanent HTTP error 200"},
  };
  for (const auto& row : rows) {
    const TemporaryFolder store;
    const std::filesystem::path folder = store.path() / utf8_to_path("r\xC3\xA9port 1");
    Logger logger(store.path() / "Wrenfall.log");
    CrashData record;
    record.database = record.appName = record.appVersion = record.crashTypeId = "1";
    record.ownerPid = 4;  // as if another process had it
    ASSERT_TRUE(save(folder, record));

    OneAnswer http(row.status, row.body, folder);
    {
      auto report = OwnedReport::take(folder, logger);
      ASSERT_TRUE(report.has_value());
      const SendOutcome outcome = report->send(&http);
      EXPECT_EQ(outcome.upload.result, row.result) << row.status;
      EXPECT_EQ(outcome.kept, row.kept) << row.status;
    }
    EXPECT_EQ(http.owner_seen_, current_process_id()) << row.status;
    EXPECT_EQ(path_exists(folder), row.kept) << row.status;
    EXPECT_NE(file_text(store.path() / "Wrenfall.log").find(row.log), std::string::npos)
        << row.status << file_text(store.path() / "Wrenfall.log");
    if (row.kept) {
      ASSERT_TRUE(load(folder, record));
      EXPECT_EQ(record.ownerPid, 0u);
      EXPECT_EQ(record.retryCount, 1);
    }
  }
}

TEST(OwnedReport, SavesWhatFitsAndNeverMakesAFolderAnew) {
  const TemporaryFolder store;
  const std::filesystem::path folder = store.path() / "r";
  Logger logger(store.path() / "Wrenfall.log");
  EXPECT_FALSE(OwnedReport::take(folder, logger).has_value());
  ASSERT_TRUE(save(folder, CrashData()));
  {
    auto report = OwnedReport::take(folder, logger);
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->save_answers(std::string(5000, 'e'), std::string(20479, 'd') + "\xC3\xBC"),
              OwnedReport::Saved::kYes);
    CrashData record;
    ASSERT_TRUE(load(folder, record));
    EXPECT_EQ(record.ownerPid, current_process_id());
    EXPECT_EQ(record.email, std::string(4096, 'e'));
    EXPECT_EQ(record.userDescription, std::string(20479, 'd'));

    store.make_folder("r/WrenfallCrashData.json.tmp");
    EXPECT_EQ(report->save_answers("", ""), OwnedReport::Saved::kFailed);
    std::filesystem::remove_all(folder);
    EXPECT_EQ(report->save_answers("", ""), OwnedReport::Saved::kGone);
    EXPECT_TRUE(report->send(nullptr).gone);
    EXPECT_FALSE(report->discard());
  }
  EXPECT_FALSE(path_exists(folder));
}

}  // namespace
}  // namespace wrenfall
