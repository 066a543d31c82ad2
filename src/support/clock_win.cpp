#include <windows.h>

#include "support/clock.h"

namespace wrenfall {
namespace {

CalendarTime from_system_time(const SYSTEMTIME& time) {
  return {time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond};
}

}  // namespace

AwakeClock::time_point AwakeClock::now() {
  ULONGLONG ticks = 0;  // of 100 ns
  QueryUnbiasedInterruptTime(&ticks);
  return time_point(std::chrono::nanoseconds(ticks * 100));
}

CalendarTime local_now() {
  SYSTEMTIME time{};
  GetLocalTime(&time);
  return from_system_time(time);
}

CalendarTime utc_now() {
  SYSTEMTIME time{};
  GetSystemTime(&time);
  return from_system_time(time);
}

}  // namespace wrenfall
