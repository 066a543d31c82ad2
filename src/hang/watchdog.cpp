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
                   Logger& logger, HangHolds holds)
    : threshold_ms_(threshold_ms),
      policy_(policy),
      on_hang_(std::move(on_hang)),
      probe_(std::move(probe)),
      holds_(std::move(holds)),
      main_thread_id_(current_thread_id()),
      logger_(logger),
      tracker_(threshold_ms, AwakeClock::now()) {}

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
  const AwakeClock::time_point now = AwakeClock::now();
  tracker_.main_beat(now);
  tracker_.thread_beat(current_thread_id(), now);
}

void Watchdog::all_alive() {
  const std::lock_guard<std::mutex> lock(mutex_);
  tracker_.all_beat(AwakeClock::now());
}

void Watchdog::watch(const std::string& name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  tracker_.watch(current_thread_id(), name, AwakeClock::now());
}

void Watchdog::unwatch() {
  const std::lock_guard<std::mutex> lock(mutex_);
  tracker_.unwatch(current_thread_id());
}

bool Watchdog::wait_until(Clock::time_point due, std::unique_lock<std::mutex>& lock) {
  while (!stopping_) {
    const Clock::time_point now = Clock::now();
    if (now >= due) return true;
    wake_.wait_for(lock, std::min<Clock::duration>(due - now, kLongestWait));
  }
  return false;
}

void Watchdog::report(const Hang& hang) {
  ignore_out_of_memory([&] {
    logger_.warn("hang detected on thread '%s' after %lld ms", hang.thread_name.c_str(),
                 static_cast<long long>(hang.duration_ms));
  });
  if (on_hang_) ignore_out_of_memory([&] { on_hang_(hang); });
}

std::optional<Hang> Watchdog::due_hang() {
  std::optional<Hang> hang;
  if (!stopping_) ignore_out_of_memory([&] { hang = tracker_.check(AwakeClock::now()); });
  return hang;
}

void Watchdog::note_signs_of_life(const WindowAnswers& answers, Clock::time_point due) {
  const Clock::duration late = Clock::now() - due - answers.asked * kWindowPatience;
  if (late > std::chrono::milliseconds(threshold_ms_) / 2) {
    tracker_.all_beat(AwakeClock::now());
  } else if (answers.any) {
    tracker_.main_beat(AwakeClock::now());
  }
}

bool Watchdog::is_held(std::unique_lock<std::mutex>& lock) {
  const bool paused = holds_.pauses != nullptr && holds_.pauses->any();
  if (!paused && !(holds_.debugger_attached && holds_.debugger_attached())) return false;
  tracker_.all_beat(AwakeClock::now());
  bool& told = paused ? told_of_pause_ : told_of_debugger_;
  if (told) return true;
  told = true;
  lock.unlock();
  ignore_out_of_memory([&] {
    logger_.info(paused ? "hang detection held: the host has paused it"
                        : "hang detection held: a debugger is attached");
  });
  lock.lock();
  return true;
}

void Watchdog::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    const Clock::time_point due = Clock::now() + tick_period(threshold_ms_);
    if (!wait_until(due, lock)) return;
    lock.unlock();
    const WindowAnswers answers = probe_ ? probe_(stopping_) : WindowAnswers{};
    lock.lock();
    note_signs_of_life(answers, due);
    if (is_held(lock)) continue;
    std::optional<Hang> hang = due_hang();
    if (!hang) continue;
    lock.unlock();
    if (hang->thread_id == 0) {
      hang->thread_id = answers.silent_thread_id != 0 ? answers.silent_thread_id : main_thread_id_;
    }
    report(*hang);
    lock.lock();
  }
}

}  // namespace wrenfall
