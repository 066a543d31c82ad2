#include "support/clock.h"

#include <cstdio>

namespace wrenfall {

std::string iso_text(const CalendarTime& time) {
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", time.year, time.month,
                time.day, time.hour, time.minute, time.second);
  return text;
}

std::string utc_timestamp() { return iso_text(utc_now()); }

}  // namespace wrenfall
