#include <gtest/gtest.h>

#include <set>

#include "report/delivery.h"
#include "report/limit_annotations.h"
#include "report/store/consent.h"
#include "report/store/folder_claim.h"
#include "report/store/kept_reports.h"
#include "report/store/pending_reports.h"
#include "report/store/report_limit.h"
#include "report/store/report_result.h"
#include "report/store/report_store.h"
#include "report/store/retention.h"
#include "report/store/retry_file.h"
#include "report/store/store_pruning.h"
#include "support/clock.h"
#include "support/files.h"
#include "support/process.h"
#include "tests/support/capture_log.h"
#include "tests/support/fake_http_client.h"
#include "tests/support/temp_dir.h"
#include "upload/retry_after.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

constexpr int64_t kHour = 3600;
constexpr int64_t kDay = 24 * kHour;
constexpr int64_t kNow = 1'800'000'000;

RetryState retry(int32_t attempts, int64_t last, int64_t retry_after = 0) {
  return {attempts, last, last, retry_after};
}

TEST(Resend, DelaysDoubleAndSpread) {
  const std::pair<int32_t, int64_t> rows[] = {{1, 300},   {2, 600},   {3, 1200}, {8, 38400},
                                              {9, 76800}, {10, kDay}, {30, kDay}};
  for (const auto& [attempts, middle] : rows) {
    std::set<int64_t> delays;
    constexpr int kReports = 4000;
    for (int i = 0; i < kReports; ++i) {
      const int64_t delay = resend_delay(retry(attempts, 0), "report " + std::to_string(i));
      EXPECT_GE(delay, middle / 2) << attempts;
      EXPECT_LE(delay, middle * 3 / 2) << attempts;
      delays.insert(delay);
    }
    EXPECT_GT(static_cast<int64_t>(delays.size()), std::min<int64_t>(middle, 1000) * 9 / 10);
  }
}

TEST(Resend, IsDue) {
  const int64_t own = resend_delay(retry(1, 0), "r");
  const struct {
    const char* what;
    RetryState state;
    int64_t now;
    bool due;
  } rows[] = {
      {"before", retry(1, kNow), kNow + own - 1, false},
      {"then", retry(1, kNow), kNow + own, true},
      {"the service asked for less", retry(1, kNow, 1), kNow + own, true},
      {"for more", retry(1, kNow, kHour), kNow + kHour - 1, false},
      {"it is over", retry(1, kNow, kHour), kNow + kHour + 300, true},
      {"for far too much", retry(1, kNow, 1000 * kDay), kNow + kDay - 300, false},
      {"a day is enough", retry(1, kNow, 1000 * kDay), kNow + kDay, true},
      {"the clock was corrected", retry(1, kNow), kNow - 60, false},
      {"the clock was set back", retry(1, kNow), kNow - kHour, true},
  };
  for (const auto& row : rows) EXPECT_EQ(is_due(row.state, "r", row.now), row.due) << row.what;
}

TEST(Resend, GivesUpAfterThirtyAttemptsOrFourteenDays) {
  RetryState state;
  for (int attempt = 1; attempt <= 30; ++attempt) {
    EXPECT_FALSE(is_given_up(state, kNow) && attempt > 1) << attempt;
    state = after_failed_attempt(state, 7, kNow);
  }
  EXPECT_EQ(state.attempts, 30);
  EXPECT_EQ(state.retry_after, 7);
  EXPECT_TRUE(is_given_up(state, kNow));
  const RetryState second = after_failed_attempt(retry(1, kNow), 0, kNow + kHour);
  EXPECT_FALSE(is_given_up(second, kNow + 14 * kDay - 1));
  EXPECT_TRUE(is_given_up(second, kNow + 14 * kDay));
  EXPECT_FALSE(is_given_up(second, kNow - 100 * kDay));
  // The clock said 1970 at the first attempt.
  EXPECT_FALSE(is_given_up(after_failed_attempt(retry(1, 60), 0, kNow), kNow));
}

TEST(RetryAfter, TakesSecondsAndDates) {
  constexpr int64_t kSunday = 784111777;  // 1994-11-06 08:49:37
  const std::pair<const char*, int64_t> rows[] = {
      {"0", 0},
      {" 120\t", 120},
      {"99999999999999999999", kDay},
      {"-5", 0},
      {"soon", 0},
      {"Sun, 06 Nov 1994 08:50:37 GMT", 60},
      {"Sunday, 06-Nov-94 08:49:38 GMT", 1},
      {"Sun Nov  6 08:49:39 1994", 2},
      {"Sun, 06 Nov 1994 08:49:36 GMT", 0},
      {"Tue, 29 Feb 2000 00:00:00 GMT", kDay},
      {"Sun, 06 Nov 1994 08:50:37 CET", 0},
      {"Sun, 32 Nov 1994 08:50:37 GMT", 0},
      {"Sun, 06 Nov 1994 08:50 GMT", 0},
  };
  for (const auto& [text, seconds] : rows)
    EXPECT_EQ(parse_retry_after(text, kSunday), seconds) << text;
}

TEST(Retention, ChoosesTheOldestFirst) {
  const std::vector<StoredReport> store = {
      {"b", 20 * kDay, 10}, {"a", 40 * kDay, 100}, {"d", 0, 1000}, {"c", 10 * kDay, 1}};
  const struct {
    RetentionLimits limits;
    std::string kept;  // those that may not be removed
    std::string removed;
  } rows[] = {
      {{0, 0, 0}, "", ""},     {{4, 40, 1111}, "", ""},    {{3, 0, 0}, "", "a"},
      {{1, 0, 0}, "", "abc"},  {{1, 0, 0}, "a", "bcd"},    {{0, 15, 0}, "", "ab"},
      {{0, 15, 0}, "b", "a"},  {{0, 0, 1001}, "", "ab"},   {{0, 0, 1}, "", "abcd"},
      {{0, 0, 1}, "d", "abc"}, {{3, 15, 1000}, "", "abc"},
  };
  for (const auto& row : rows) {
    std::string removed;
    choose_for_removal(store, row.limits, [&](const StoredReport& report, RetentionReason) {
      const std::string name = report.folder.string();
      const bool may = row.kept.find(name) == std::string::npos;
      if (may) removed += name;
      return may;
    });
    EXPECT_EQ(removed, row.removed) << row.limits.max_reports << " " << row.limits.max_age_days
                                    << " " << row.limits.max_bytes << " " << row.kept;
  }
}

// A process that runs besides this one.
uint64_t another_process() {
  uint64_t id = 1;
  while (id == current_process_id() || !is_process_running(id)) ++id;
  return id;
}

TEST(Retention, LeavesWhatIsInUseAndTakesLeftovers) {
  const TempDir dir;
  const struct {
    const char* name;
    std::string record;  // nothing for a file without a record
    int days;
    bool stays;
  } rows[] = {
      {"old/", R"({"processId":1})", 40, false},
      {"new/", R"({"processId":1})", 20, true},
      {"tomorrow/", R"({"processId":1})", -1, true},
      {"damaged/", "[", 40, false},
      {"of this run/", R"({"processId":4242})", 40, true},
      {"shown/", R"({"ownerPid":)" + std::to_string(another_process()) + "}", 40, true},
      {"claimed/", R"({"processId":1})", 40, true},
      {"crashpad/reports/x.dmp.damaged", "", 40, false},
      {"crashpad/reports/y.dmp", "", 1, true},
      {"crashpad/settings.dat", "", 40, true},
      {"crashpad/sessions/1-2.json", "", 40, false},
      {"sessions/unusable.json", "", 40, false},
      {"the host's own/file", "", 40, true},
      {"01234567-89ab-4cde-8f01-23456789abcd/Wrenfall.log", "", 40, false},
      {"11234567-89ab-4cde-8f01-23456789abcd/the host's own", "", 40, true},
      {"21234567-89ab-4cde-8f01-23456789abcd/folder/Wrenfall.log", "", 40, true},
      {"half made/minidump.dmp", "", 40, false},
  };
  for (const auto& row : rows) {
    const bool is_report = !row.record.empty();
    const std::string name = std::string(row.name) + (is_report ? "WrenfallCrashData.json" : "");
    fs::last_write_time(dir.add(name, is_report ? row.record : "x"),
                        fs::file_time_type::clock::now() - std::chrono::hours(24 * row.days));
  }
  const auto claim = FolderClaim::try_take(dir / "claimed");
  PruneRequest request;
  request.store = dir.path();
  request.limits.max_age_days = 30;
  request.run = 4242;
  CaptureLog log;
  size_t told = 0;
  request.on_removed = [&](const StoredReport&, RetentionReason) { return ++told != 0; };
  request.on_leftover = [&](const fs::path&, int64_t) { ++told; };
  request.dry_run = true;
  prune_store(request, log.logger);
  EXPECT_TRUE(log.lines.empty());
  request.dry_run = false;
  prune_store(request, log.logger);
  size_t gone = 0;
  for (const auto& row : rows) {
    EXPECT_EQ(path_exists(dir / std::string(row.name)), row.stays) << row.name;
    if (!row.stays) ++gone;
  }
  EXPECT_EQ(log.lines.size(), gone);
  EXPECT_EQ(told, 2 * gone);
}

TEST(ReportLimit, CountsOverAWindow) {
  const struct {
    const char* what;
    ReportLimit limit;
    std::vector<int64_t> made;
    bool admitted;
  } rows[] = {
      {"none", {0, 0}, {1, 2, 3}, true},
      {"no time", {1, 0}, {kNow}, true},
      {"no number", {0, 60}, {kNow}, true},
      {"room", {2, 60}, {kNow - 10}, true},
      {"full", {2, 60}, {kNow - 59, kNow - 10}, false},
      {"one is past", {2, 60}, {kNow - 60, kNow - 10}, true},
      {"the clock was set back", {2, 60}, {kNow + kDay, kNow + kDay}, false},
  };
  for (const auto& row : rows) {
    ReportCounts counts;
    counts.made = row.made;
    EXPECT_EQ(admit(counts, row.limit, kNow), row.admitted) << row.what;
    EXPECT_EQ(counts.dropped, row.admitted ? 0u : 1u) << row.what;
    // What was in the future is past after as long as the limit says.
    EXPECT_TRUE(row.admitted || admit(counts, row.limit, kNow + 60)) << row.what;
  }
}

TEST(ReportLimit, TellsOfWhatWasDropped) {
  const TempDir dir;
  const ReportLimit limit = {2, 600};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(admit_report(dir.path(), limit).admitted, i < 2) << i;
  EXPECT_EQ(admit_report(dir.path(), {9, 600}).dropped_before, 3u);
  EXPECT_EQ(admit_report(dir.path(), {9, 600}).dropped_before, 0u);
  give_back_dropped(dir.path(), 3);
  EXPECT_EQ(admit_report(dir.path(), {9, 600}).dropped_before, 3u);
}

TEST(LimitAnnotations, ComeBackAsTheyWere) {
  StoreLimits limits;
  limits.retention = {100, 0, uint64_t{1} << 40};
  limits.resend = true;
  limits.report_limit = {10, 600};
  std::map<std::string, std::string> annotations;
  add_limit_annotations({}, annotations);
  EXPECT_TRUE(annotations.empty());
  add_limit_annotations(limits, annotations);
  StoreLimits read;
  for (const auto& [key, value] : annotations) take_limit_annotation(key, value, read);
  std::map<std::string, std::string> again;
  add_limit_annotations(read, again);
  EXPECT_EQ(again, annotations);
  EXPECT_EQ(annotations.size(), 3u);
}

TEST(RetryFile, LeavesTheHostsOwnAlone) {
  const TempDir dir;
  dir.add("theirs/retry.json", R"({"attempts":1})");
  dir.add("ours/a.txt", "");
  EXPECT_FALSE(mark_for_resend(dir / "theirs"));
  EXPECT_TRUE(mark_for_resend(dir / "ours"));
  EXPECT_FALSE(is_retry_file(dir / "theirs" / "retry.json"));
  EXPECT_TRUE(is_retry_file(dir / "ours" / "retry.json"));
  EXPECT_TRUE(write_retry(dir / "ours", {3, 1, 2, 4}));
  EXPECT_EQ(read_retry(dir / "ours")->attempts, 3);
  EXPECT_TRUE(mark_for_resend(dir / "ours"));
  EXPECT_EQ(read_retry(dir / "ours")->retry_after, 4);
  // No number that another program wrote can do harm.
  for (const char* number : {"-9223372036854775808", "9223372036854775807", "1e300", "[]"}) {
    std::string text = R"({"wrenfallRetry":1,"attempts":N,"firstAttempt":N,"lastAttempt":N})";
    for (size_t at; (at = text.find('N')) != std::string::npos;) text.replace(at, 1, number);
    put_file(dir / "ours" / "retry.json", text);
    const RetryState read = after_failed_attempt(*read_retry(dir / "ours"), 0, kNow);
    EXPECT_TRUE(read.attempts > 0 && read.attempts <= 30) << number;
    EXPECT_GT(due_time(*read_retry(dir / "ours"), "r"), 0) << number;
  }
}

// One attempt to send a report, and what becomes of it with resending on.
TEST(Delivery, KeepsWhatNeedNotFailAgain) {
  enum class Outcome { kKept, kDeleted, kPending };
  HttpResponse slow_down = answer(429, "");
  slow_down.retry_after = "7200";
  const struct {
    const char* what;
    HttpResponse answer;
    int attempts;       // before this one; -1 where resending is off
    int64_t first_ago;  // when the first of them was
    Outcome outcome;
  } rows[] = {
      {"off", no_answer("down"), -1, 0, Outcome::kDeleted},
      {"no answer", no_answer("down"), 0, 0, Outcome::kKept},
      {"slow down", slow_down, 1, 0, Outcome::kKept},
      {"timeout", answer(408, ""), 0, 0, Outcome::kKept},
      {"proxy", answer(407, ""), 0, 0, Outcome::kKept},
      {"failure", answer(501, ""), 0, 0, Outcome::kKept},
      {"bad request", answer(400, ""), 0, 0, Outcome::kDeleted},
      {"not found", answer(404, ""), 0, 0, Outcome::kDeleted},
      {"no success", answer(200, "{}"), 0, 0, Outcome::kDeleted},
      {"the last attempt", no_answer("down"), 29, kDay, Outcome::kDeleted},
      {"the last day", no_answer("down"), 2, 14 * kDay, Outcome::kDeleted},
      {"the host's own file", no_answer("down"), -2, 0, Outcome::kPending},
      {"a damaged file of ours", no_answer("down"), -3, 0, Outcome::kKept},
  };
  for (const auto& row : rows) {
    const TempDir dir;
    const fs::path folder = dir.make_folder("report");
    CrashData record = complete_record();
    ASSERT_TRUE(save(folder, record));
    put_file(folder / "a.txt", "a");
    if (row.attempts > 0) {
      ASSERT_TRUE(write_retry(folder, {row.attempts, unix_now() - row.first_ago, 1, 0}));
    }
    if (row.attempts == -2) put_file(folder / "retry.json", "{}");
    if (row.attempts == -3) put_file(folder / "retry.json", R"({"attempts":1,"fir)");
    FakeHttpClient http({row.answer});
    CaptureLog log;
    Logger silent;
    FailureRules rules;
    rules.resend = row.attempts != -1;
    // The user refuses while one of the attempts is made.
    const bool refused = row.answer.status == 408;
    rules.agreed = row.attempts == 1 || refused;
    ASSERT_TRUE(write_consent(dir.path(), refused ? WRENFALL_CONSENT_REFUSED : 0));
    deliver(&http, folder, record, silent, log.logger, rules);
    const auto waits = waiting_retry(folder);
    EXPECT_EQ(is_folder(folder), row.outcome != Outcome::kDeleted) << row.what;
    EXPECT_EQ(waits.has_value(), row.outcome == Outcome::kKept) << row.what;
    EXPECT_EQ(PendingReports(dir.path()).list().size(), row.outcome == Outcome::kPending ? 1u : 0u)
        << row.what;
    if (!waits) continue;
    EXPECT_EQ(waits->attempts, row.attempts == -3 ? 2 : row.attempts + 1) << row.what;
    EXPECT_EQ(waits->agreed, row.attempts == 1) << row.what;
    forget_agreements(dir.path());
    EXPECT_TRUE(lacks_agreement(folder)) << row.what;
    EXPECT_EQ(waits->retry_after, row.answer.retry_after.empty() ? 0 : 7200) << row.what;
    EXPECT_NEAR(static_cast<double>(waits->last_attempt), static_cast<double>(unix_now()), 60);
    EXPECT_EQ(kept_reports(dir.path(), waits->last_attempt).next_due, due_time(*waits, "report"));
    EXPECT_EQ(kept_reports(dir.path(), waits->last_attempt + 2 * kDay).due.size(), 1u);
    // A report that arrived or was rejected, but whose folder could not be deleted, is not sent again.
    for (const int http_status : {200, 400}) {
      ReportResult decided;
      decided.errorCode = http_status == 200 ? WRENFALL_OK : WRENFALL_ERROR_REJECTED;
      decided.httpStatus = http_status;
      write_result(folder, decided);
      EXPECT_FALSE(waiting_retry(folder)) << row.what;
    }
  }
}

}  // namespace
}  // namespace wrenfall
