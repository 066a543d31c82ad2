#include "support/clock.h"

#include <cstdio>

namespace wrenfall {

std::string utc_timestamp() {
  const CalendarTime now = utc_now();
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", now.year, now.month, now.day,
                now.hour, now.minute, now.second);
  return text;
}

}  // namespace wrenfall
