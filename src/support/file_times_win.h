#ifndef WRENFALL_SUPPORT_FILE_TIMES_WIN_H_
#define WRENFALL_SUPPORT_FILE_TIMES_WIN_H_

#include <windows.h>

#include <cstdint>

namespace wrenfall {

inline constexpr uint64_t kTicksPerSecond = 10'000'000;

// A FILETIME as one number: 100 ns units since 1601-01-01 UTC.
inline uint64_t ticks_of(const FILETIME& time) {
  return static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

// When a process was created; 0 when it cannot be read.
inline uint64_t process_start_time(HANDLE process) {
  FILETIME creation{};
  FILETIME other{};
  return GetProcessTimes(process, &creation, &other, &other, &other) ? ticks_of(creation) : 0;
}

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_FILE_TIMES_WIN_H_
