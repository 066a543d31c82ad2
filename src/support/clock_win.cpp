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

CalendarTime local_time(int64_t unix_seconds) {
  constexpr int64_t kSecondsFrom1601 = 11644473600;
  ULARGE_INTEGER ticks{};
  ticks.QuadPart = static_cast<uint64_t>(unix_seconds + kSecondsFrom1601) * 10'000'000;
  const FILETIME file_time = {ticks.LowPart, ticks.HighPart};
  SYSTEMTIME utc{};
  SYSTEMTIME local{};
  if (!FileTimeToSystemTime(&file_time, &utc)) return {};
  // By the rules of summer time of that day, not of this one.
  return from_system_time(SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) ? local : utc);
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
