#include "hang/watchdog.h"

#include <gtest/gtest.h>

#include <future>

#include "support/process.h"
#include "tests/support/capture_log.h"

namespace wrenfall {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

Logger& silent_logger() {
  static Logger logger;
  return logger;
}

WindowAnswers no_window(const std::atomic<bool>&) { return {}; }

TEST(Watchdog, TickIsAQuarterOfTheThresholdButNotTooShort) {
  const std::pair<int32_t, int> rows[] = {{1, 100},   {200, 100},  {403, 100},
                                          {404, 101}, {1000, 250}, {INT32_MAX, 536870911}};
  for (const auto& [threshold_ms, tick_ms] : rows) {
    EXPECT_EQ(Watchdog::tick_period(threshold_ms), milliseconds(tick_ms)) << threshold_ms;
  }
}

TEST(Watchdog, SignsOfLifeOfAnyThreadKeepMainAlive) {
  std::atomic<bool> hung{true};
  bool silent = true;  // for so long that a hang may be seen, as on a busy machine: then once more
  for (int round = 0; round < 5 && hung && silent; ++round) {
    hung = silent = false;
    auto last = Clock::now();
    const auto note_sign = [&] {
      silent = silent || Clock::now() - last > milliseconds(400);
      last = Clock::now();
    };
    Watchdog watchdog(
        800, WRENFALL_HANG_REPORT, [&hung](const Hang&) { hung = true; }, no_window,
        silent_logger());
    watchdog.start();
    std::thread([&] {
      for (int i = 0; i < 160; ++i) {
        if (i == 80) watchdog.watch("worker");
        i < 80 ? watchdog.heartbeat() : std::thread([&] { watchdog.all_alive(); }).join();
        note_sign();
        std::this_thread::sleep_for(milliseconds(20));
      }
    }).join();
    watchdog.stop();
    note_sign();
  }
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
          return WindowAnswers{};
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
      [&](const Hang&) {
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

TEST(Watchdog, NamesTheThreadThatHangs) {
  const struct {
    const char* watched;
    WindowAnswers answers;
    const char* name;
    uint32_t thread_id;  // 0 for that of the calling thread
  } rows[] = {
      {nullptr, {}, "main", 0},
      {nullptr, {false, 4711, 1}, "main", 4711},
      {"worker", {true, 4711, 2}, "worker", 0},  // a window that answers keeps "main" alive
  };
  for (const auto& row : rows) {
    std::promise<Hang> hung;
    Watchdog watchdog(
        150, WRENFALL_HANG_REPORT, [&hung](const Hang& hang) { hung.set_value(hang); },
        [&row](const std::atomic<bool>&) { return row.answers; }, silent_logger());
    watchdog.start();
    if (row.watched != nullptr) watchdog.watch(row.watched);
    std::future<Hang> hang = hung.get_future();
    ASSERT_EQ(hang.wait_for(std::chrono::seconds(60)), std::future_status::ready) << row.name;
    watchdog.stop();
    const Hang result = hang.get();
    EXPECT_EQ(result.thread_name, row.name);
    EXPECT_EQ(result.thread_id, row.thread_id == 0 ? current_thread_id() : row.thread_id);
  }
}

// A machine that slept, a debugger's break or a dump stop all threads, not only those that hang.
TEST(Watchdog, ATickThatComesFarTooLateIsASignOfLifeOfEveryThread) {
  std::atomic<int> ticks{0};
  std::atomic<bool> hung{false};
  Watchdog watchdog(
      200, WRENFALL_HANG_REPORT, [&hung](const Hang&) { hung = true; },
      [&ticks](const std::atomic<bool>&) {
        ++ticks;
        std::this_thread::sleep_for(milliseconds(300));
        return WindowAnswers{};
      },
      silent_logger());
  watchdog.start();
  watchdog.watch("worker");
  while (ticks < 5) std::this_thread::sleep_for(milliseconds(10));
  EXPECT_FALSE(hung);
}

// Each with one line in the log. The silence of before counts no longer once nothing holds.
TEST(Watchdog, FindsNoHangWhileItIsHeld) {
  for (const bool by_pause : {true, false}) {
    HangPauses pauses;
    std::atomic<bool> debugger{!by_pause};
    if (by_pause) pauses.pause(), pauses.pause();
    std::atomic<int> ticks{0};
    std::atomic<bool> hung{false};
    std::promise<Hang> hang;
    CaptureLog log;
    {
      Watchdog watchdog(
          200, WRENFALL_HANG_REPORT,
          [&](const Hang& found) {
            hung = true;
            hang.set_value(found);
          },
          [&ticks](const std::atomic<bool>&) {
            ++ticks;
            return WindowAnswers{};
          },
          log.logger, {&pauses, [&debugger] { return debugger.load(); }});
      watchdog.start();
      const auto wait_for_tick = [&ticks](int tick) {
        while (ticks < tick) std::this_thread::sleep_for(milliseconds(10));
      };
      wait_for_tick(6);
      EXPECT_EQ(pauses.resume(), by_pause);
      wait_for_tick(12);
      EXPECT_FALSE(hung);
      debugger = false;
      EXPECT_EQ(pauses.resume(), by_pause);
      EXPECT_FALSE(pauses.resume());
      EXPECT_LT(hang.get_future().get().duration_ms, 900);
    }
    EXPECT_EQ(log.lines[1], by_pause ? "1 hang detection held: the host has paused it"
                                     : "1 hang detection held: a debugger is attached");
    EXPECT_EQ(log.lines.size(), 3u);
  }
}

}  // namespace
}  // namespace wrenfall
