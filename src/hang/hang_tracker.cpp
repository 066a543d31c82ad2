#include "hang/hang_tracker.h"

#include <utility>

namespace wrenfall {
namespace {

int64_t whole_milliseconds(HangTracker::Time::duration duration) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

}  // namespace

void HangTracker::thread_beat(uint32_t thread_id, Time now) {
  const auto found = watched_.find(thread_id);
  if (found != watched_.end()) found->second.beat(now);
}

void HangTracker::watch(uint32_t thread_id, std::string name, Time now) {
  watched_[thread_id] = {std::move(name), now, false};
}

void HangTracker::all_beat(Time now) {
  main_.beat(now);
  for (auto& [id, thread] : watched_) thread.beat(now);
}

std::optional<Hang> HangTracker::check_thread(uint32_t id, Thread& thread, Time now) {
  const int64_t silence = whole_milliseconds(now - thread.last_beat);
  if (thread.reported || silence <= threshold_ms_) return std::nullopt;
  Hang hang{thread.name, silence, id};
  // Marked last: when copying the name runs out of memory, the hang is found again later.
  thread.reported = true;
  last_report_ = now;
  return hang;
}

std::optional<Hang> HangTracker::check(Time now) {
  if (last_report_ && whole_milliseconds(now - *last_report_) <= kCoolDownMs) return std::nullopt;
  if (auto hang = check_thread(0, main_, now)) return hang;
  for (auto& [id, thread] : watched_) {
    if (auto hang = check_thread(id, thread, now)) return hang;
  }
  return std::nullopt;
}

}  // namespace wrenfall
