#include "upload/retry_after.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <vector>

#include "support/clock.h"

namespace wrenfall {
namespace {

constexpr int64_t kLongest = int64_t{24} * 60 * 60;

constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// A text of nothing but decimal digits. A number beyond the type's range is the largest.
std::optional<int64_t> number_of(std::string_view text) {
  int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  if (text.empty() || text[0] == '-' || parsed.ptr != end) return std::nullopt;
  return parsed.ec == std::errc() ? number : kLongest;
}

std::vector<std::string_view> split(std::string_view text, std::string_view separators) {
  std::vector<std::string_view> pieces;
  while (!text.empty()) {
    const size_t length = std::min(text.find_first_of(separators), text.size());
    if (length > 0) pieces.push_back(text.substr(0, length));
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return pieces;
}

// False unless the text is a number from `least` to `most`.
bool take(std::string_view text, int least, int most, int& field) {
  const auto number = number_of(text);
  if (!number || *number < least || *number > most) return false;
  field = static_cast<int>(*number);
  return true;
}

bool take_month(std::string_view name, int& month) {
  const auto found = std::find(kMonths.begin(), kMonths.end(), name);
  month = static_cast<int>(found - kMonths.begin()) + 1;
  return found != kMonths.end();
}

// A year of two digits is the nearest one that is not more than 50 years ahead.
int full_year(int year, int64_t now) {
  constexpr int64_t kSecondsPerYear = 31556952;
  const int this_year = 1970 + static_cast<int>(now / kSecondsPerYear);
  const int full = this_year - this_year % 100 + year;
  return full > this_year + 50 ? full - 100 : full;
}

// "Sun, 06 Nov 1994 08:49:37 GMT", "Sunday, 06-Nov-94 08:49:37 GMT", "Sun Nov  6 08:49:37 1994".
std::optional<int64_t> parse_http_date(std::string_view text, int64_t now) {
  const auto pieces = split(text, " ,-");
  CalendarTime date;
  std::string_view time;
  if (pieces.size() == 6 && pieces[5] == "GMT") {
    if (!take(pieces[1], 1, 31, date.day) || !take_month(pieces[2], date.month) ||
        !take(pieces[3], 0, 9999, date.year)) {
      return std::nullopt;
    }
    if (pieces[3].size() == 2) date.year = full_year(date.year, now);
    time = pieces[4];
  } else if (pieces.size() == 5) {
    if (!take_month(pieces[1], date.month) || !take(pieces[2], 1, 31, date.day) ||
        !take(pieces[4], 0, 9999, date.year)) {
      return std::nullopt;
    }
    time = pieces[3];
  } else {
    return std::nullopt;
  }
  const auto clock = split(time, ":");
  if (clock.size() != 3 || !take(clock[0], 0, 23, date.hour) ||
      !take(clock[1], 0, 59, date.minute) || !take(clock[2], 0, 60, date.second)) {
    return std::nullopt;
  }
  return ((days_since_1970(date) * 24 + date.hour) * 60 + date.minute) * 60 + date.second;
}

}  // namespace

int64_t parse_retry_after(std::string_view value, int64_t now) {
  const size_t begin = std::min(value.find_first_not_of(" \t"), value.size());
  value = value.substr(begin, value.find_last_not_of(" \t") + 1 - begin);
  int64_t seconds = 0;
  if (const auto number = number_of(value)) {
    seconds = *number;
  } else if (const auto date = parse_http_date(value, now)) {
    seconds = *date - now;
  }
  return std::clamp<int64_t>(seconds, 0, kLongest);
}

}  // namespace wrenfall
