#include "support/clock.h"

#include <cstdio>

namespace wrenfall {

int64_t unix_now() { return unix_now_ms() / 1000; }

int64_t unix_now_ms() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

std::string local_time_text(int64_t unix_seconds) {
  const CalendarTime time = local_time(unix_seconds);
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d", time.year, time.month, time.day,
                time.hour, time.minute);
  return text;
}

CalendarTime utc_time(int64_t unix_seconds) {
  // Years begin with March here, as below.
  const int64_t days = unix_seconds / 86400 + 719468;  // since 0000-03-01
  const int64_t era = days / 146097;
  const int64_t day_of_era = days % 146097;
  const int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const int64_t month_from_march = (5 * day_of_year + 2) / 153;
  const int64_t day = day_of_year - (153 * month_from_march + 2) / 5 + 1;
  const int64_t month = month_from_march < 10 ? month_from_march + 3 : month_from_march - 9;
  const int64_t year = era * 400 + year_of_era + (month <= 2 ? 1 : 0);
  const auto number = [](int64_t value) { return static_cast<int>(value); };
  return {number(year),
          number(month),
          number(day),
          number(unix_seconds / 3600 % 24),
          number(unix_seconds / 60 % 60),
          number(unix_seconds % 60)};
}

int64_t days_since_1970(const CalendarTime& date) {
  // Years begin with March here, so that the leap day is the last of its year; 400 years have 146097
  // days.
  const int64_t year = date.year - (date.month <= 2 ? 1 : 0);
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t year_of_era = year - era * 400;
  const int64_t month = date.month + (date.month > 2 ? -3 : 9);
  const int64_t day_of_year = (153 * month + 2) / 5 + date.day - 1;
  const int64_t day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

std::string iso_text(const CalendarTime& time) {
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", time.year, time.month,
                time.day, time.hour, time.minute, time.second);
  return text;
}

std::string utc_timestamp() { return iso_text(utc_now()); }

}  // namespace wrenfall
