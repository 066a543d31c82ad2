#include "report/store/resend_schedule.h"

#include <algorithm>

namespace wrenfall {
namespace {

constexpr int64_t kMinute = 60;
constexpr int64_t kDay = int64_t{24} * 60 * kMinute;
constexpr int64_t kFirstDelay = 5 * kMinute;
constexpr int64_t kLongestDelay = kDay;
// The system corrects its clock by so much in daily life.
constexpr int64_t kClockCorrection = 5 * kMinute;

// RFC 9110.
constexpr int32_t kHttpProxyAuthenticationRequired = 407;
// 2026-01-01. A clock that says less is wrong, as that of a machine with an empty battery.
constexpr int64_t kEarliestTime = 1767225600;

constexpr int32_t kHttpRequestTimeout = 408;

// A number from 0 to 2^32 - 1 that looks random, always the same for the same report and attempt.
// FNV-1a, whose bits are then mixed as SplitMix64 does, because ids that differ little must give
// numbers that differ much.
uint32_t spread_of(std::string_view report_id, int32_t attempt) {
  uint64_t hash = 0xCBF29CE484222325;
  const auto add = [&hash](uint8_t byte) { hash = (hash ^ byte) * 0x100000001B3; };
  for (const char c : report_id) add(static_cast<uint8_t>(c));
  add(static_cast<uint8_t>(attempt));
  hash = (hash ^ (hash >> 30)) * 0xBF58476D1CE4E5B9;
  hash = (hash ^ (hash >> 27)) * 0x94D049BB133111EB;
  return static_cast<uint32_t>((hash ^ (hash >> 31)) >> 32);
}

int64_t delay_without_spread(int32_t attempts) {
  int64_t delay = kFirstDelay;
  for (int32_t attempt = 1; attempt < attempts && delay < kLongestDelay; ++attempt) delay *= 2;
  return std::min(delay, kLongestDelay);
}

}  // namespace

bool is_worth_resending(const UploadResult& outcome) {
  switch (outcome.result) {
    case WRENFALL_ERROR_TRANSPORT:
    case WRENFALL_ERROR_FILE:
      return true;
    case WRENFALL_ERROR_SERVICE:
    case WRENFALL_ERROR_REJECTED:
      return outcome.http_status == kHttpTooManyRequests ||
             outcome.http_status == kHttpProxyAuthenticationRequired ||
             outcome.http_status == kHttpRequestTimeout ||
             (outcome.http_status >= 500 && outcome.http_status <= 599);
    default:
      return false;
  }
}

int64_t resend_delay(const RetryState& state, std::string_view report_id) {
  const int64_t middle = delay_without_spread(state.attempts);
  const auto spread = static_cast<int64_t>(
      static_cast<uint64_t>(middle) * spread_of(report_id, state.attempts) >> 32);
  const int64_t own = middle / 2 + spread;
  if (state.retry_after <= 0) return own;
  const int64_t asked = std::min(state.retry_after, kDay - spread);
  return std::max(own, asked + spread);
}

int64_t due_time(const RetryState& state, std::string_view report_id) {
  return state.last_attempt + resend_delay(state, report_id);
}

bool is_due(const RetryState& state, std::string_view report_id, int64_t now) {
  return now >= due_time(state, report_id) || now < state.last_attempt - kClockCorrection;
}

RetryState after_failed_attempt(RetryState state, int64_t retry_after, int64_t now) {
  if (state.attempts <= 0 || state.first_attempt < kEarliestTime) state.first_attempt = now;
  state.attempts = std::clamp(state.attempts, 0, kMaxResendAttempts - 1) + 1;
  state.last_attempt = now;
  state.retry_after = std::max<int64_t>(retry_after, 0);
  return state;
}

bool is_given_up(const RetryState& state, int64_t now) {
  return state.attempts >= kMaxResendAttempts || now - state.first_attempt >= kResendDays * kDay;
}

}  // namespace wrenfall
