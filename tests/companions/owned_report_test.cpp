#include "reporter/owned_report.h"

#include <gtest/gtest.h>

#include <new>

#include "report/store/report_result.h"
#include "report/store/report_store.h"
#include "support/files.h"
#include "support/process.h"
#include "tests/support/fake_http_client.h"
#include "tests/support/temp_dir.h"

namespace wrenfall::reporter {
namespace {

TEST(OwnedReport, StaysPendingWhenMemoryIsShort) {
  const TempDir store;
  const std::filesystem::path folder = store.path() / "report";
  Logger logger(store.path() / "Wrenfall.log");
  CrashData record;
  record.database = record.appName = record.appVersion = record.crashTypeId = "1";
  ASSERT_TRUE(save(folder, record));
  FakeHttpClient http({}, [] { throw std::bad_alloc(); });
  const SendOutcome outcome = OwnedReport::take(folder, logger)->send(&http);
  EXPECT_EQ(outcome.upload.result, WRENFALL_ERROR_FILE);
  EXPECT_EQ(report_state(folder, record), ReportState::kPending);
}

TEST(OwnedReport, TakesTheReportOverAndGivesItBackWhenItIsKept) {
  const HttpResponse located = answer(200, R"({"status":"success","url":"https://127.0.0.1/x"})");
  const struct {
    std::vector<HttpResponse> answers;
    wrenfall_result result;
    bool kept;
    const char* log;
  } rows[] = {
      {{located, answer(200, ""), answer(200, R"({"status":"success"})")},
       WRENFALL_OK,
       false,
       "Report sent"},
      {{answer(503, "")}, WRENFALL_ERROR_SERVICE, true, "Incremented retry count to 1"},
      {{located, answer(404, "")}, WRENFALL_ERROR_SERVICE, false, "Permanent HTTP error 404"},
      // An id that is no number raises an exception in the upload, which becomes a result.
      {{located, answer(200, ""), answer(200, R"({"status":"success","crashId":"x"})")},
       WRENFALL_ERROR_SERVICE,
       false,
       "Permanent HTTP error 200"},
  };
  for (const auto& row : rows) {
    const TempDir store;
    const std::filesystem::path folder = store.path() / utf8_to_path("r\xC3\xA9port 1");
    Logger logger(store.path() / "Wrenfall.log");
    CrashData record;
    record.database = record.appName = record.appVersion = record.crashTypeId = "1";
    record.ownerPid = 4;  // as if another process had it
    ASSERT_TRUE(save(folder, record));

    uint64_t owner_seen = 0;
    FakeHttpClient http(row.answers, [&] {
      CrashData seen;
      if (load(folder, seen)) owner_seen = seen.ownerPid;
    });
    {
      auto report = OwnedReport::take(folder, logger);
      ASSERT_TRUE(report.has_value());
      const SendOutcome outcome = report->send(&http);
      EXPECT_EQ(outcome.upload.result, row.result) << row.log;
      EXPECT_EQ(outcome.kept, row.kept) << row.log;
    }
    EXPECT_EQ(owner_seen, current_process_id()) << row.log;
    EXPECT_EQ(path_exists(folder), row.kept) << row.log;
    const std::string log = file_text(store.path() / "Wrenfall.log");
    EXPECT_NE(log.find(row.log), std::string::npos) << log;
    EXPECT_EQ(log.find("Permanent HTTP error") == std::string::npos,
              row.kept || row.result == WRENFALL_OK)
        << log;
    if (row.kept) {
      ASSERT_TRUE(load(folder, record));
      EXPECT_EQ(record.ownerPid, 0u);
      EXPECT_EQ(record.retryCount, 1);
    }
  }
}

TEST(OwnedReport, SavesWhatFitsAndNeverCreatesAFolderAgain) {
  const TempDir store;
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
    EXPECT_TRUE(report->send(nullptr).not_sent.has_value());
    EXPECT_FALSE(report->discard());
  }
  EXPECT_FALSE(path_exists(folder));
}

}  // namespace
}  // namespace wrenfall::reporter
