// Sending a report while memory runs out: it is neither lost nor sent a second time.
#include <gtest/gtest.h>

#include <iterator>
#include <new>

#include "ctl/report_export.h"
#include "report/delivery.h"
#include "report/store/layout.h"
#include "reporter/owned_report.h"
#include "support/files.h"
#include "tests/support/failing_new.h"
#include "tests/support/fake_http_client.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

const std::vector<HttpResponse> kTaken =
    commit_answered(answer(200, R"({"status":"success","crashId":1})"));

// Sends a report once. Memory ends some allocations after the begin, or after the commit, or does not
// hold large pieces.
struct Attempt {
  Attempt(long after_begin, long after_commit, size_t largest = SIZE_MAX) {
    size_t requests = 0;
    FakeHttpClient service(kTaken, [&] {
      committed = ++requests == kTaken.size();
      if (committed && after_commit >= 0) allocations_left = after_commit;
    });
    const fs::path folder = dir.make_folder("report");
    put_file(folder / kReportDumpFile, std::string(20000, 'x'));
    CrashData record = complete_record();
    save(folder, record);
    Logger log(folder / kLogFile);
    allocations_left = after_begin;
    largest_allocation = largest;
    try {
      completed = deliver(&service, folder, record, log, log).result == WRENFALL_OK;
    } catch (const std::bad_alloc&) {
    }
    memory_ended = allocation_failed.exchange(false);
    allocations_left = -1;
    largest_allocation = SIZE_MAX;
    CrashData kept;
    pending = load(folder, kept) && !path_exists(folder / kResultFile);
  }

  const TempDir dir;
  bool committed = false;
  bool completed = false;
  bool memory_ended = false;
  bool pending = false;
};

class OutOfMemory : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { one_allocation_fails = GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(OneOrAll, OutOfMemory, ::testing::Bool());

TEST_P(OutOfMemory, TheReportIsPendingUntilTheCommitAndNotSentAgainAfterIt) {
  for (const bool after_commit : {false, true}) {
    for (long left = 0;; ++left) {
      const Attempt attempt(after_commit ? -1 : left, after_commit ? left : -1);
      EXPECT_TRUE(attempt.committed || !after_commit);
      EXPECT_EQ(attempt.pending, !attempt.committed) << "after " << left << " allocations";
      if (attempt.completed && !attempt.memory_ended) break;
      ASSERT_LT(left, 5000);
    }
  }
}

TEST(LargeFileWithoutMemory, IsNoFailureOfTheReport) {
  const Attempt attempt(-1, -1, 16000);  // the dump has 20,000 bytes
  EXPECT_TRUE(attempt.memory_ended);
  EXPECT_TRUE(attempt.pending);
}

TEST(RequestWithoutMemory, IsNoFailureOfTheReport) {
  // Which request lacks memory, whether its status arrived, and whether the report stays.
  const struct {
    int request;
    bool answered;
    bool stays;
  } rows[] = {
      {0, false, true}, {0, true, true}, {1, false, true}, {2, false, true}, {2, true, false}};
  for (const auto& row : rows) {
    const TempDir dir;
    CrashData record = complete_record();
    ASSERT_TRUE(save(dir.path(), record));
    std::vector<HttpResponse> answers = kTaken;
    HttpResponse& lacking = answers[static_cast<size_t>(row.request)];
    lacking = row.answered ? answer(200, "") : no_answer("out of memory");
    lacking.out_of_memory = true;
    FakeHttpClient http(answers);
    Logger log;
    deliver(&http, dir.path(), record, log, log);
    EXPECT_EQ(path_exists(dir / kCrashDataFile), row.stays) << row.request << row.answered;
  }
  const TempDir dir;
  CrashData record;
  ASSERT_TRUE(save(dir.path(), record));
  Logger log;
  deliver(nullptr, dir.path(), record, log, log);
  EXPECT_TRUE(path_exists(dir / kCrashDataFile)) << "without a client";
}

// The record alone is too large.
TEST(ReporterWithoutMemory, LeavesTheReportPending) {
  const TempDir dir;
  CrashData record;
  record.userDescription = std::string(20000, 'x');
  ASSERT_TRUE(save(dir / "report", record));
  Logger log;
  auto report = reporter::OwnedReport::take(dir / "report", log);
  ASSERT_TRUE(report);
  largest_allocation = 16000;
  const SendOutcome outcome = report->send(nullptr);
  largest_allocation = SIZE_MAX;
  EXPECT_TRUE(allocation_failed.exchange(false));
  EXPECT_EQ(outcome.upload.error, "out of memory");
  EXPECT_TRUE(outcome.kept && outcome.pending);
}

TEST(ExportWithoutMemory, LeavesNothingBehind) {
  const TempDir dir;
  ASSERT_TRUE(save(dir / "report", {}));
  put_file(dir / "report" / kReportDumpFile, std::string(20000, 'x'));
  largest_allocation = 16000;
  EXPECT_THROW(ctl::export_report(dir / "report", dir / "a.zip", false), std::bad_alloc);
  largest_allocation = SIZE_MAX;
  EXPECT_TRUE(allocation_failed.exchange(false));
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), 1);
}

}  // namespace
}  // namespace wrenfall
