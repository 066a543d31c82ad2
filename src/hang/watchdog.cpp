#include "hang/watchdog.h"

#include <algorithm>
#include <new>
#include <utility>

#include "backend/annotation_keys.h"
#include "support/process.h"

namespace wrenfall {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kShortestTick{100};
constexpr std::chrono::milliseconds kLongestWait{86400000};

// Runs the step and ignores std::bad_alloc: an exception that left the watchdog's thread would end
// the host.
template <typename Step>
void ignore_out_of_memory(Step step) {
  try {
    step();
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace

const char* hang_policy_text(uint32_t policy) {
  return policy == WRENFALL_HANG_REPORT_AND_TERMINATE ? kHangPolicyTerminate : kHangPolicyReport;
}

std::chrono::milliseconds Watchdog::tick_period(int32_t threshold_ms) {
  return std::max(std::chrono::milliseconds(threshold_ms / 4), kShortestTick);
}

Watchdog::Watchdog(int32_t threshold_ms, uint32_t policy, HangCallback on_hang, WindowProbe probe,
                   Logger& logger)
    : threshold_ms_(threshold_ms),
      policy_(policy),
      on_hang_(std::move(on_hang)),
      probe_(std::move(probe)),
      logger_(logger),
      tracker_(threshold_ms, Clock::now()) {}

Watchdog::~Watchdog() { stop(); }

void Watchdog::start() {
  if (threshold_ms_ < 1 || thread_.joinable()) return;
  heartbeat();
  thread_ = std::thread([this] { run(); });
  logger_.info("hang detection on: %d ms, policy %s", threshold_ms_,
               policy_ == WRENFALL_HANG_REPORT_AND_TERMINATE ? "report+terminate" : "report");
}

void Watchdog::stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void Watchdog::heartbeat() {
  const std::lock_guard<std::mutex> lock(mutex_);
  const Clock::time_point now = Clock::now();
  tracker_.main_beat(now);
  tracker_.thread_beat(current_thread_id(), now);
}

void Watchdog::watch(const std::string& name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  tracker_.watch(current_thread_id(), name, Clock::now());
}

void Watchdog::unwatch() {
  const std::lock_guard<std::mutex> lock(mutex_);
  tracker_.unwatch(current_thread_id());
}

bool Watchdog::wait_for_tick(std::unique_lock<std::mutex>& lock) {
  const Clock::time_point deadline = Clock::now() + tick_period(threshold_ms_);
  while (!stopping_) {
    const Clock::time_point now = Clock::now();
    if (now >= deadline) return true;
    wake_.wait_for(lock, std::min<Clock::duration>(deadline - now, kLongestWait));
  }
  return false;
}

void Watchdog::report(const Hang& hang) {
  ignore_out_of_memory([&] {
    logger_.warn("hang detected on thread '%s' after %lld ms", hang.thread_name.c_str(),
                 static_cast<long long>(hang.duration_ms));
  });
  if (on_hang_) ignore_out_of_memory([&] { on_hang_(hang.thread_name, hang.duration_ms); });
}

std::optional<Hang> Watchdog::due_hang() {
  std::optional<Hang> hang;
  if (!stopping_) ignore_out_of_memory([&] { hang = tracker_.check(Clock::now()); });
  return hang;
}

void Watchdog::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (wait_for_tick(lock)) {
    lock.unlock();
    const bool answered = probe_ && probe_(stopping_);
    lock.lock();
    if (answered) tracker_.main_beat(Clock::now());
    const std::optional<Hang> hang = due_hang();
    if (!hang) continue;
    lock.unlock();
    report(*hang);
    lock.lock();
  }
}

}  // namespace wrenfall
