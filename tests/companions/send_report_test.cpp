#include "reporter/send_report.h"

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

TEST(SendReport, TakesTheReportOverAndGivesItBackWhenItIsKept) {
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
    EXPECT_EQ(send_report(&http, folder, record, logger), row.result) << row.status;
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

}  // namespace
}  // namespace wrenfall
