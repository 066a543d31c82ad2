#ifndef WRENFALL_SUPPORT_CLOCK_H_
#define WRENFALL_SUPPORT_CLOCK_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace wrenfall {

// Monotonic time in which the machine is awake. A wait that this clock bounds, or a silence that it
// measures, does not count the time that the machine sleeps.
struct AwakeClock {
  using duration = std::chrono::nanoseconds;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<AwakeClock>;
  static constexpr bool is_steady = true;
  static time_point now();
};

// A moment broken down by the proleptic Gregorian calendar; months and days count from 1.
struct CalendarTime {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

CalendarTime local_now();
CalendarTime utc_now();

// Seconds since 1970-01-01 UTC by the system's clock, which may be wrong and may be set.
int64_t unix_now();

// The same in milliseconds.
int64_t unix_now_ms();

// Such a moment in UTC, from 1970 to 9999, and in the user's time zone.
CalendarTime utc_time(int64_t unix_seconds);
CalendarTime local_time(int64_t unix_seconds);
// The same as "2026-01-31 23:59".
std::string local_time_text(int64_t unix_seconds);

// How many days lie between 1970-01-01 and that day, whose year, month and day are given.
int64_t days_since_1970(const CalendarTime& date);

// A moment of UTC as "2026-01-31T23:59:59Z" (ISO 8601), and this one.
std::string iso_text(const CalendarTime& time);
std::string utc_timestamp();

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_CLOCK_H_
