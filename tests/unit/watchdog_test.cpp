#include "hang/watchdog.h"

#include <gtest/gtest.h>

#include <future>

namespace wrenfall {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

Logger& silent_logger() {
  static Logger logger;
  return logger;
}

bool no_window(const std::atomic<bool>&) { return false; }

TEST(Watchdog, TickIsAQuarterOfTheThresholdButNotTooShort) {
  const struct {
    int32_t threshold_ms;
    int tick_ms;
  } rows[] = {{1, 100}, {200, 100}, {403, 100}, {404, 101}, {1000, 250}, {INT32_MAX, 536870911}};
  for (const auto& row : rows) {
    EXPECT_EQ(Watchdog::tick_period(row.threshold_ms), milliseconds(row.tick_ms))
        << row.threshold_ms;
  }
}

TEST(Watchdog, HeartbeatsOfAnyThreadKeepMainAlive) {
  std::atomic<bool> hung{false};
  Watchdog watchdog(
      800, WRENFALL_HANG_REPORT, [&hung](const std::string&, int64_t) { hung = true; }, no_window,
      silent_logger());
  watchdog.start();
  std::thread([&] {
    for (int i = 0; i < 80; ++i) {
      watchdog.heartbeat();
      std::this_thread::sleep_for(milliseconds(20));
    }
  }).join();
  EXPECT_FALSE(hung);
}

TEST(Watchdog, StopsAtOnce) {
  // Between two ticks of a long period, and in a probe that would take its time.
  for (const bool in_probe : {false, true}) {
    std::promise<void> probing;
    Watchdog watchdog(
        in_probe ? 100 : 3600000, WRENFALL_HANG_REPORT, nullptr,
        [&, told = false](const std::atomic<bool>& stopping) mutable {
          if (!told) probing.set_value();
          told = true;
          while (!stopping) std::this_thread::sleep_for(milliseconds(1));
          return false;
        },
        silent_logger());
    watchdog.start();
    if (in_probe) probing.get_future().wait();
    const auto started = Clock::now();
    watchdog.stop();
    EXPECT_LT(Clock::now() - started, std::chrono::seconds(5)) << in_probe;
  }
}

TEST(Watchdog, ASlowCaptureBlocksNoHeartbeatAndStopWaitsForIt) {
  std::promise<void> capturing;
  std::promise<void> release;
  std::atomic<bool> captured{false};
  Watchdog watchdog(
      100, WRENFALL_HANG_REPORT,
      [&](const std::string&, int64_t) {
        capturing.set_value();
        release.get_future().wait();
        captured = true;
      },
      no_window, silent_logger());
  watchdog.start();
  capturing.get_future().wait();
  for (int i = 0; i < 1000; ++i) watchdog.heartbeat();
  watchdog.watch("x");
  watchdog.unwatch();
  std::thread releaser([&] {
    std::this_thread::sleep_for(milliseconds(100));
    release.set_value();
  });
  watchdog.stop();
  EXPECT_TRUE(captured);
  releaser.join();
}

}  // namespace
}  // namespace wrenfall
