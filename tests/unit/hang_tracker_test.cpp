#include "hang/hang_tracker.h"

#include <gtest/gtest.h>

#include <string>

namespace wrenfall {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using Time = HangTracker::Time;

constexpr int32_t kThreshold = 1000;

Time at(int64_t ms) { return Time(milliseconds(ms)); }

// "thread duration", or "-" when nothing is due.
std::string check(HangTracker& tracker, int64_t ms) {
  const auto hang = tracker.check(at(ms));
  return hang ? hang->thread_name + " " + std::to_string(hang->duration_ms) : "-";
}

TEST(HangTracker, HangsOneMillisecondBeyondTheThreshold) {
  // Whole milliseconds count.
  const std::pair<int, bool> rows[] = {
      {0, false}, {999999, false}, {1000000, false}, {1000999, false}, {1001000, true}};
  for (const auto& [silence_us, hung] : rows) {
    HangTracker tracker(kThreshold, at(0));
    EXPECT_EQ(tracker.check(Time(microseconds(silence_us))).has_value(), hung) << silence_us;
  }
}

TEST(HangTracker, CoolDownIsSharedAndCountedInWholeMilliseconds) {
  HangTracker tracker(kThreshold, at(0));
  tracker.watch(7, "seven", at(0));
  EXPECT_EQ(check(tracker, 2000), "main 2000");
  // Still silent, but within five minutes of the last report.
  EXPECT_EQ(check(tracker, 2250), "-");
  EXPECT_EQ(check(tracker, 302000), "-");
  EXPECT_FALSE(tracker.check(at(302000) + microseconds(999)));
  EXPECT_EQ(check(tracker, 302001), "seven 302001");
}

TEST(HangTracker, OneThreadATickMainFirstThenByThreadId) {
  HangTracker tracker(kThreshold, at(0));
  tracker.watch(300, "c", at(0));
  tracker.watch(20, "b", at(0));
  tracker.watch(4000000000, "d", at(0));
  int64_t now = 5000;
  for (const char* const expected : {"main", "b", "c", "d"}) {
    EXPECT_EQ(check(tracker, now), expected + (" " + std::to_string(now)));
    EXPECT_EQ(check(tracker, now + 250), "-") << expected;
    now += HangTracker::kCoolDownMs + 1;
  }
  EXPECT_EQ(check(tracker, now), "-") << "each was reported once";
  tracker.main_beat(at(now));
  EXPECT_EQ(check(tracker, now + 1000), "-");
  EXPECT_EQ(check(tracker, now + 1001), "main 1001");
}

TEST(HangTracker, BeatsConcernTheirThreadAloneAlsoDuringTheCoolDown) {
  HangTracker tracker(kThreshold, at(0));
  tracker.watch(1, "one", at(0));
  tracker.watch(2, "two", at(0));
  tracker.main_beat(at(2000));
  tracker.thread_beat(3, at(2000));  // which is not watched
  EXPECT_EQ(check(tracker, 2000), "one 2000");
  tracker.thread_beat(2, at(302000));
  tracker.main_beat(at(302000));
  EXPECT_EQ(check(tracker, 302500), "-");
  EXPECT_EQ(check(tracker, 303001), "main 1001");
}

TEST(HangTracker, WatchingAgainRenamesAndRefreshes) {
  HangTracker tracker(kThreshold, at(0));
  tracker.watch(1, "old", at(0));
  tracker.watch(1, "", at(800));
  tracker.main_beat(at(1500));
  EXPECT_EQ(check(tracker, 1500), "-");
  EXPECT_EQ(check(tracker, 1801), " 1001");
  tracker.watch(1, "again", at(1801));  // re-armed
  tracker.unwatch(1);
  tracker.main_beat(at(500000));
  EXPECT_EQ(check(tracker, 500500), "-");
}

}  // namespace
}  // namespace wrenfall
