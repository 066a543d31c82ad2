#include "support/clock.h"

#include <ctime>

namespace wrenfall {
namespace {

CalendarTime calendar_time(std::tm* (*convert)(const std::time_t*, std::tm*),
                           std::time_t moment = std::time(nullptr)) {
  std::tm time{};
  convert(&moment, &time);
  return {time.tm_year + 1900, time.tm_mon + 1, time.tm_mday,
          time.tm_hour,        time.tm_min,     time.tm_sec};
}

}  // namespace

AwakeClock::time_point AwakeClock::now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);  // which stands still while the machine sleeps
  return time_point(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

CalendarTime local_time(int64_t unix_seconds) { return calendar_time(localtime_r, unix_seconds); }
CalendarTime local_now() { return calendar_time(localtime_r); }
CalendarTime utc_now() { return calendar_time(gmtime_r); }

}  // namespace wrenfall
