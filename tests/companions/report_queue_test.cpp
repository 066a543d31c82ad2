#include "reporter/report_queue.h"

#include <gtest/gtest.h>

#include <utility>

#include "report/store/consent.h"
#include "report/store/crash_data.h"
#include "report/store/retry_file.h"
#include "support/files.h"
#include "support/process.h"
#include "tests/support/temp_dir.h"

namespace wrenfall::reporter {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kNoProcess = 4294967288;  // no process has this id

// The lock of a store in which other processes do what the test says.
struct FakeLock : ReporterLock {
  bool try_take() override { return held_by == 0; }
  void release() override {
    std::exchange(at_release, [] {})();
  }
  uint64_t holder() override {
    const uint64_t answer = is_readable ? held_by : 0;
    std::exchange(after_look, [] {})();
    return answer;
  }

  uint64_t held_by = 0;
  bool is_readable = true;
  std::function<void()> at_release = [] {};
  std::function<void()> after_look = [] {};
};

class ReportQueueTest : public ::testing::Test {
 protected:
  fs::path make(const std::string& name, uint64_t owner, const char* policy = "dialog",
                const char* time = "") {
    CrashData record;
    record.crashTime = time;
    record.ownerPid = owner;
    record.uploadPolicy = policy;
    EXPECT_TRUE(save(store_ / name, record));
    return store_ / name;
  }

  uint64_t owner_of(const std::string& name) {
    CrashData record;
    EXPECT_TRUE(load(store_ / name, record));
    return record.ownerPid;
  }

  // Which reports were served, in their order, and whom the others were announced to.
  // An empty path has it ask about all that wait.
  std::string run(const fs::path& first) {
    std::string served;
    const auto serve = [&](const fs::path& folder) {
      served += folder.filename().u8string() + " ";
      during_serving_();
      return !stops_;
    };
    const auto announce = [&](uint64_t process) { served += "-> " + std::to_string(process); };
    const auto pause = [this] { ++pauses_; };
    ReportQueue queue(store_.path(), policy_, lock_, {serve, announce, pause}, logger_);
    first.empty() ? queue.run_asking() : queue.run(first);
    return served;
  }

  const TempDir store_;
  Logger logger_;
  FakeLock lock_;
  std::function<void()> during_serving_ = [] {};
  bool stops_ = false;
  std::string policy_ = "dialog";
  int pauses_ = 0;
};

TEST_F(ReportQueueTest, TakesWhatWasHandedOverOrLeftBehind) {
  make("mine", current_process_id());
  make("left-behind", kNoProcess);
  make("nobody's", 0);
  make("quiet", kNoProcess, "quiet");
  make("manual", kNoProcess, "manual");
  put_file(make("tried", kNoProcess) / "result.json", "{}");
  const fs::path first = make("first", 0);
  // It comes while the first report is being worked on. Records that stay as they are, as on a full
  // disk, are not worked on again.
  during_serving_ = [this] { make("late", current_process_id()); };
  EXPECT_EQ(run(first), "first mine left-behind late ");
}

TEST_F(ReportQueueTest, AsksAboutWhatWaitsForTheUsersAnswerTheNewestCrashFirst) {
  make("new", 0, "dialog", "2026-01-03");
  make("newest", 0, "manual", "2026-01-04");
  make("old", 0, "dialog", "2026-01-01");
  make("quiet", 0, "quiet", "2026-01-02");
  make("left-behind", kNoProcess, "dialog", "2026-01-02T1");
  put_file(make("sent", 0) / "result.json", "{}");
  for (const bool agreed : {false, true}) {
    const fs::path kept = make(agreed ? "agreed" : "kept", 0, "quiet", "2026-01-01T2");
    put_file(kept / "result.json", R"({"status":"failed","errorCode":10})");
    ASSERT_TRUE(write_retry(kept, {1, 1769900000, 1769900000, 0, agreed}));
  }
  const std::pair<uint32_t, const char*> rows[] = {
      {WRENFALL_CONSENT_UNKNOWN, "new left-behind old "},
      {WRENFALL_CONSENT_GIVEN, "left-behind "},
      {WRENFALL_CONSENT_ASK, "newest new left-behind quiet kept old "},
  };
  for (const auto& [consent, served] : rows) {
    ASSERT_TRUE(write_consent(store_.path(), consent));
    EXPECT_EQ(run({}), served);
  }
  // The holder was started for another report, and serves what it got all the same.
  make("quiet", current_process_id(), "quiet");
  EXPECT_EQ(run(store_ / "new"), "new left-behind quiet ");
  // So it does with what is kept and was handed over.
  lock_.held_by = current_process_id();
  EXPECT_EQ(run({}), "-> " + std::to_string(lock_.held_by));
  lock_.held_by = 0;
  EXPECT_NE(run(store_ / "sent").find(" kept "), std::string::npos);
}

TEST_F(ReportQueueTest, LeavesTheOthersWhenItIsToldTo) {
  make("other", kNoProcess);
  stops_ = true;
  EXPECT_EQ(run(make("first", 0)), "first ");
}

TEST_F(ReportQueueTest, HandsItsReportOverToTheHolder) {
  lock_.held_by = 7;
  EXPECT_EQ(run(make("first", 4)), "-> 7");
  EXPECT_EQ(owner_of("first"), 7u);
  put_file(make("sent", 4) / "result.json", "{}");
  EXPECT_EQ(run(store_ / "sent"), "-> 7");
  EXPECT_EQ(owner_of("sent"), 4u);
}

TEST_F(ReportQueueTest, WaitsForAnUnknownHolderForSomeTimeAndServesManualReportsAtOnce) {
  lock_.held_by = 7;
  lock_.is_readable = false;
  EXPECT_EQ(run(make("first", 4)), "");
  EXPECT_EQ(pauses_, 100);
  policy_ = "manual";
  EXPECT_EQ(run(make("first", 0, "manual")), "first ");
}

// The holder ends, or another takes its place, at each moment at which that matters.
TEST_F(ReportQueueTest, OverlooksNoReportWhenTheHolderChanges) {
  lock_.held_by = 7;
  lock_.after_look = [this] { lock_.held_by = 8; };
  EXPECT_EQ(run(make("to-the-next", 4)), "-> 8");
  EXPECT_EQ(owner_of("to-the-next"), 8u);
  fs::remove_all(store_ / "to-the-next");

  lock_.held_by = 7;
  lock_.after_look = [this] { lock_.held_by = 0; };
  EXPECT_EQ(run(make("holder-ended", 4)), "holder-ended ");

  // It was handed over after the last look for reports, and before the lock was released.
  lock_.at_release = [this] { make("at-release", current_process_id()); };
  EXPECT_EQ(run(store_ / "holder-ended"), "holder-ended at-release ");

  // Meanwhile another process has taken the lock.
  lock_.at_release = [this] {
    make("handed-on", current_process_id());
    lock_.held_by = 9;
  };
  EXPECT_EQ(run(store_ / "holder-ended"), "holder-ended at-release -> 9");
  EXPECT_EQ(owner_of("handed-on"), 9u);
}

}  // namespace
}  // namespace wrenfall::reporter
