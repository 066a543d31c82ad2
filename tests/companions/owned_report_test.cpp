#include "reporter/owned_report.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <new>
#include <optional>

#include "report/store/folder_claim.h"
#include "report/store/report_result.h"
#include "report/store/report_store.h"
#include "report/store/retry_file.h"
#include "reporter/report_sender.h"
#include "support/files.h"
#include "support/process.h"
#include "tests/support/fake_http_client.h"
#include "tests/support/temp_dir.h"

namespace wrenfall::reporter {
namespace {

TEST(OwnedReport, TakesTheReportOverAndGivesItBackWhenItIsKept) {
  const auto pending = ReportState::kPending, decided = ReportState::kHasResult;
  const struct {
    std::vector<HttpResponse> answers;  // none: memory is short
    wrenfall_result result;
    std::optional<ReportState> state;  // none: deleted
    const char* log;
  } rows[] = {
      {commit_answered(answer(200, R"({"status":"success"})")), WRENFALL_OK, {}, "Report sent"},
      {{answer(503, "")}, WRENFALL_ERROR_SERVICE, decided, "Incremented retry count to 1"},
      // An id that is no number raises an exception in the upload, which becomes a result.
      {commit_answered(answer(200, R"({"status":"success","crashId":"x"})")),
       WRENFALL_ERROR_SERVICE,
       {},
       "Permanent HTTP error 200"},
      // Without a verdict of the service the report stays pending.
      {{no_answer("down")}, WRENFALL_ERROR_TRANSPORT, pending, "Report not sent"},
      {{}, WRENFALL_ERROR_FILE, pending, "out of memory"},
  };
  for (const auto& row : rows) {
    const TempDir store;
    const std::filesystem::path folder = store.path() / utf8_to_path("r\xC3\xA9port 1");
    Logger logger(store.path() / "Wrenfall.log");
    CrashData record = complete_record();
    record.ownerPid = 4;  // as if another process had it
    ASSERT_TRUE(save(folder, record));
    put_file(folder / "result.json", "{}");  // of an earlier attempt

    uint64_t owner_seen = current_process_id();
    FakeHttpClient http(row.answers, [&] {
      CrashData seen;
      if (load(folder, seen)) owner_seen = seen.ownerPid;
      if (row.answers.empty()) throw std::bad_alloc();
    });
    EXPECT_FALSE(OwnedReport::take(folder, logger, true).has_value());
    {
      auto report = OwnedReport::take(folder, logger);
      ASSERT_TRUE(report.has_value());
      const SendOutcome outcome = report->send(&http);
      EXPECT_EQ(outcome.upload.result, row.result) << row.log;
      EXPECT_EQ(outcome.kept, row.state.has_value()) << row.log;
      EXPECT_EQ(outcome.pending, row.state == ReportState::kPending) << row.log;
    }
    EXPECT_EQ(owner_seen, current_process_id()) << row.log;
    EXPECT_EQ(path_exists(folder), row.state.has_value()) << row.log;
    const std::string log = file_text(store.path() / "Wrenfall.log");
    EXPECT_NE(log.find(row.log), std::string::npos) << log;
    EXPECT_EQ(log.find("Permanent HTTP error") == std::string::npos,
              row.state || row.result == WRENFALL_OK)
        << log;
    if (row.state) {
      EXPECT_EQ(report_state(folder, record), *row.state) << row.log;
      EXPECT_EQ(record.ownerPid, 0u);
      EXPECT_EQ(record.retryCount, row.state == ReportState::kHasResult ? 1 : 0) << row.log;
    }
  }
}

TEST(OwnedReport, SavesWhatFitsAndNeverCreatesAFolderAgain) {
  const TempDir store;
  const std::filesystem::path folder = store.path() / "r";
  Logger logger(store.path() / "Wrenfall.log");
  EXPECT_FALSE(OwnedReport::take(folder, logger).has_value());
  ASSERT_TRUE(save(folder, CrashData()));
  ASSERT_TRUE(save(store.path() / "crashpad", CrashData()));
  ASSERT_TRUE(save(store.path() / "sent", CrashData()));
  store.add("sent/result.json", R"({"status":"uploaded"})");
  for (const char* const name : {"crashpad", "sent"}) {
    EXPECT_FALSE(OwnedReport::take(store.path() / name, logger).has_value()) << name;
  }
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
    EXPECT_TRUE(report->leave_out({"a.txt"}));
    EXPECT_TRUE(report->send(nullptr).not_sent.has_value());
    EXPECT_EQ(report->discard(), OwnedReport::Discarded::kGone);
    EXPECT_FALSE(path_exists(folder));
    ASSERT_TRUE(save(folder, CrashData()));
    {
      const FolderClaim held(folder);
      EXPECT_EQ(report->discard(), OwnedReport::Discarded::kHeld);
    }
    EXPECT_EQ(report->discard(), OwnedReport::Discarded::kYes);
  }
  EXPECT_FALSE(path_exists(folder));
}

TEST(OwnedReport, LeavesOutWhatTheUserDoesNotWantToSend) {
  const TempDir store;
  Logger logger;
  CrashData record = complete_record();
  record.attachments = {"a.txt", "b.txt"};
  ASSERT_TRUE(save(store.path() / "r", record));
  for (const char* const name : {"r/a.txt", "r/b.txt"}) store.add(name, "x");
  auto report = OwnedReport::take(store.path() / "r", logger);
  EXPECT_TRUE(report->leave_out({"a.txt"}));
  EXPECT_EQ(report->record().attachments, std::vector<std::string>{"b.txt"});
  EXPECT_EQ(
      std::make_pair(path_exists(store.path() / "r/a.txt"), path_exists(store.path() / "r/b.txt")),
      std::make_pair(false, true));
}

TEST(ReportSender, TellsHowFarItIsAndCanBeCancelledUntilTheServiceHasAll) {
  enum class Cancel { kNever, kFirst, kAtTheFile, kAtTheCommit };
  for (const Cancel when :
       {Cancel::kNever, Cancel::kFirst, Cancel::kAtTheFile, Cancel::kAtTheCommit}) {
    const TempDir store;
    Logger logger;
    ASSERT_TRUE(save(store.path() / "r", complete_record()));
    // An earlier attempt failed, to which the user had agreed.
    ASSERT_TRUE(write_retry(store.path() / "r", {3, 1, 1, 0, true}));
    store.add("r/result.json", R"({"errorCode": 10})");
    auto report = OwnedReport::take(store.path() / "r", logger);
    ReportSender* sender = nullptr;
    int request = 0;
    std::vector<bool> cancelled;
    std::vector<uint64_t> seen;
    const auto make = [&](const UploadProgress& progress) {
      const auto look = [&, progress] {
        ++request;
        if (request == 2) {
          for (const uint64_t sent : {0u, 5u, 7u, 5000u, 10000u}) progress(sent, 10000);
        }
        if (request == static_cast<int>(when)) cancelled.push_back(sender->cancel());
      };
      return std::make_unique<FakeHttpClient>(
          commit_answered(answer(200, R"({"status":"success","crashId":2})")), look);
    };
    std::atomic<bool> ended = false;
    ReportSender made(*report, make,
                      {[&] { seen.push_back(sender->state().sent); }, [&] { ended = true; }});
    sender = &made;
    made.start();
    const SendOutcome outcome = made.finish();
    EXPECT_TRUE(ended);
    const bool sent = when == Cancel::kNever || when == Cancel::kAtTheCommit;
    EXPECT_EQ(outcome.was_sent(), sent);
    EXPECT_EQ(made.was_cancelled(), !sent);
    EXPECT_EQ(outcome.pending, !sent);
    const auto retry = read_retry(store.path() / "r");
    EXPECT_TRUE(sent || (retry && retry->attempts == 3 && !retry->agreed));
    // The answer to the first request comes although it was cancelled; the next is not made.
    EXPECT_EQ(request, sent ? 3 : static_cast<int>(when));
    EXPECT_EQ(cancelled, when == Cancel::kNever ? std::vector<bool>() : std::vector<bool>{!sent});
    EXPECT_TRUE(!sent || seen == (std::vector<uint64_t>{0, 5000, 10000}));
  }
}

}  // namespace
}  // namespace wrenfall::reporter
