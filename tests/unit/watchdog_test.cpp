#include "hang/watchdog.h"

#include <gtest/gtest.h>

#include <future>
#include <map>
#include <vector>

#include "backend/backend.h"
#include "hang/hang_report.h"
#include "tests/support/capture_log.h"

namespace wrenfall {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

bool no_window(const std::atomic<bool>&) { return false; }

// Hangs as the watchdog reports them, one after the other.
class Hangs {
 public:
  Watchdog::HangCallback callback() {
    return [this](const std::string& name, int64_t duration) {
      const std::lock_guard<std::mutex> lock(mutex_);
      names_.push_back(name);
      last_duration_ = duration;
      changed_.notify_all();
    };
  }

  bool wait_for(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20),
                             [&] { return names_.size() >= count; });
  }

  std::vector<std::string> names() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return names_;
  }

  int64_t last_duration() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return last_duration_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> names_;
  int64_t last_duration_ = 0;
};

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

TEST(Watchdog, SilenceIsReportedAndLogged) {
  Hangs hangs;
  CaptureLog log;
  Watchdog watchdog(150, WRENFALL_HANG_REPORT_AND_TERMINATE, hangs.callback(), no_window,
                    &log.logger);
  watchdog.start();
  ASSERT_TRUE(hangs.wait_for(1));
  watchdog.stop();
  EXPECT_EQ(hangs.names(), std::vector<std::string>{"main"});
  EXPECT_GT(hangs.last_duration(), 150);
  EXPECT_EQ(log.lines.at(0), "1 hang detection on: 150 ms, policy report+terminate");
  EXPECT_EQ(log.lines.at(1), "2 hang detected on thread 'main' after " +
                                 std::to_string(hangs.last_duration()) + " ms");
}

TEST(Watchdog, AnAnsweringWindowIsASignOfLifeOfTheMainThreadAlone) {
  Hangs hangs;
  Watchdog watchdog(
      150, WRENFALL_HANG_REPORT, hangs.callback(), [](const std::atomic<bool>&) { return true; },
      nullptr);
  watchdog.start();
  watchdog.watch("worker");
  ASSERT_TRUE(hangs.wait_for(1));
  watchdog.stop();
  EXPECT_EQ(hangs.names(), std::vector<std::string>{"worker"});
}

TEST(Watchdog, HeartbeatsOfAnyThreadKeepMainAlive) {
  Hangs hangs;
  Watchdog watchdog(800, WRENFALL_HANG_REPORT, hangs.callback(), no_window, nullptr);
  watchdog.start();
  std::thread([&] {
    for (int i = 0; i < 80; ++i) {
      watchdog.heartbeat();
      std::this_thread::sleep_for(milliseconds(20));
    }
  }).join();
  EXPECT_TRUE(hangs.names().empty());
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
        nullptr);
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
      no_window, nullptr);
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

TEST(Watchdog, WithoutAThresholdItNeverStarts) {
  for (const int32_t threshold : {0, -1, INT32_MIN}) {
    CaptureLog log;
    Watchdog watchdog(threshold, 0, nullptr, nullptr, &log.logger);
    watchdog.start();
    EXPECT_TRUE(log.lines.empty()) << threshold;
  }
}

// Notes the annotations that a capture finds.
class NotingBackend : public Backend {
 public:
  const char* name() const override { return "noting"; }
  wrenfall_result start(const BackendConfiguration&) override { return WRENFALL_OK; }
  void stop() override {}
  void set_annotation(const std::string& key, const std::string& value) override {
    annotations[key] = value;
  }
  bool has_capability(uint32_t) const override { return false; }
  wrenfall_result capture(const std::string& report_kind) override {
    at_capture = annotations;
    kind = report_kind;
    return result;
  }

  std::map<std::string, std::string> annotations;
  std::map<std::string, std::string> at_capture;
  std::string kind;
  wrenfall_result result = WRENFALL_OK;
};

TEST(HangReport, AnnotatesTheDumpAndClearsAllButThePolicy) {
  using Texts = std::map<std::string, std::string>;
  for (const auto& [policy, text] : {std::pair{1u, "terminate"}, {0u, "report"}, {2u, "report"}}) {
    NotingBackend backend;
    CaptureLog log;
    capture_hang(backend, &log.logger, policy, "ui", 12345);
    EXPECT_EQ(backend.kind, "hang");
    EXPECT_EQ(backend.at_capture, (Texts{{"wrenfall.hangThread", "ui"},
                                         {"wrenfall.hangDurationMs", "12345"},
                                         {"wrenfall.hangPolicy", text}}));
    EXPECT_EQ(backend.annotations, (Texts{{"wrenfall.hangThread", ""},
                                          {"wrenfall.hangDurationMs", ""},
                                          {"wrenfall.hangPolicy", text}}));
    EXPECT_EQ(log.lines,
              std::vector<std::string>{"1 hang report captured for thread 'ui' (12345 ms)"});
    backend.result = WRENFALL_ERROR_HANDLER_START_FAILED;
    capture_hang(backend, &log.logger, policy, "ui", 12345);
    EXPECT_EQ(log.lines.size(), 1u) << "a failed capture counts as one";
  }
}

}  // namespace
}  // namespace wrenfall
