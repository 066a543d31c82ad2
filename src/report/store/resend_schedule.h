#ifndef WRENFALL_REPORT_STORE_RESEND_SCHEDULE_H_
#define WRENFALL_REPORT_STORE_RESEND_SCHEDULE_H_

#include <cstdint>
#include <string_view>

#include "report/store/upload_result.h"

namespace wrenfall {

// When a report that could not be delivered is sent again, and when it is given up. Pure functions;
// all times are seconds since 1970 (UTC), as the clock of this machine says them.

// What is known of the attempts to send one report.
struct RetryState {
  int32_t attempts = 0;       // those that failed
  int64_t first_attempt = 0;  // when the first of them ended
  int64_t last_attempt = 0;
  int64_t retry_after = 0;  // for how many seconds the service asked to wait at the last one
  bool agreed = false;      // a person, or the host by its own call, wanted the report sent
};

inline constexpr int32_t kMaxResendAttempts = 30;
inline constexpr int64_t kResendDays = 14;

// Whether the report may arrive another time: nobody answered, the service was overloaded or out of
// order (408, 429, 5xx), a proxy wanted a name and password (407), or a file could not be read or
// packed here.
bool is_worth_resending(const UploadResult& outcome);

// For how long the report waits after its last attempt. 5 minutes, doubled with each attempt up to
// 24 hours, and each time moved by up to half of it in either direction. How far comes from the
// report's id and the number of the attempt, so that many machines that failed at the same moment do
// not come back at the same moment. What the service asked for makes the wait longer, but not longer
// than 24 hours; a part of the spread is added to it, because a service may name the same moment to
// everybody.
int64_t resend_delay(const RetryState& state, std::string_view report_id);

// When the report is sent again.
int64_t due_time(const RetryState& state, std::string_view report_id);

// Whether that time has come. A last attempt in the future means that the clock was set back since:
// a few minutes count as no time at all; with more, nobody knows how long the report has waited, and
// it is due. So a wrong clock never makes a report wait much longer than its delay.
bool is_due(const RetryState& state, std::string_view report_id, int64_t now);

// The state after one more failed attempt, which ended at `now`.
RetryState after_failed_attempt(RetryState state, int64_t retry_after, int64_t now);

// Whether that many attempts, or so many days since the first, are enough.
bool is_given_up(const RetryState& state, int64_t now);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_RESEND_SCHEDULE_H_
