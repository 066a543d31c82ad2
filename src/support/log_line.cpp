#include "support/log_line.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "support/clock.h"
#include "support/process.h"

namespace wrenfall {
namespace {

// By wrenfall_log_level.
constexpr const char* kLevelNames[] = {"DEBUG", "INFO", "WARN", "ERROR"};

bool is_level_name(std::string_view word) {
  return std::find(std::begin(kLevelNames), std::end(kLevelNames), word) != std::end(kLevelNames);
}

// The length of the control character or line break at the position; 0 when there is none. In UTF-8
// those beyond ASCII are U+0080 to U+009F, U+2028 and U+2029.
size_t control_length(std::string_view text, size_t position) {
  const auto at = [&](size_t i) {
    return position + i < text.size() ? static_cast<unsigned char>(text[position + i]) : 0u;
  };
  if (at(0) < 0x20 || at(0) == 0x7F) return 1;
  if (at(0) == 0xC2 && at(1) >= 0x80 && at(1) < 0xA0) return 2;
  if (at(0) == 0xE2 && at(1) == 0x80 && (at(2) == 0xA8 || at(2) == 0xA9)) return 3;
  return 0;
}

// Replaces control characters by blanks. A service's answer may contain line breaks, which would
// look like lines of the log itself, and escape sequences for the terminal that shows it.
void append_on_one_line(std::string& line, std::string_view message) {
  size_t copied = 0;
  for (size_t i = 0; i < message.size();) {
    if (message[i] >= 0x20 && message[i] < 0x7F) {  // nearly all there is
      ++i;
      continue;
    }
    const size_t control = control_length(message, i);
    if (control == 0) {
      ++i;
      continue;
    }
    line.append(message, copied, i - copied).append(1, ' ');
    copied = i += control;
  }
  line.append(message, copied);
}

// Removes "[...] " from the start of `rest` and gives what is in the brackets. False when `rest` does
// not start so.
bool take_bracketed(std::string_view& rest, std::string_view& content) {
  const size_t end = rest.find("] ");
  if (rest.empty() || rest[0] != '[' || end == std::string_view::npos) return false;
  content = rest.substr(1, end - 1);
  rest.remove_prefix(end + 2);
  return true;
}

}  // namespace

const char* log_level_name(wrenfall_log_level level) {
  const bool known = level >= 0 && static_cast<size_t>(level) < std::size(kLevelNames);
  return kLevelNames[known ? level : WRENFALL_LOG_INFO];
}

std::string log_line(wrenfall_log_level level, std::string_view message) {
  const CalendarTime now = local_now();
  char head[112];
  std::snprintf(head, sizeof head, "[%04d-%02d-%02d %02d:%02d:%02d] [%lu] %s ", now.year, now.month,
                now.day, now.hour, now.minute, now.second,
                static_cast<unsigned long>(current_process_id()), log_level_name(level));
  std::string line;
  line.reserve(sizeof head + message.size());
  line = head;
  append_on_one_line(line, message);
  return line += '\n';
}

LogLine parse_log_line(std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  std::string_view rest = line;
  std::string_view time;
  std::string_view pid;
  if (take_bracketed(rest, time) && take_bracketed(rest, pid)) {
    const size_t blank = rest.find(' ');
    const std::string_view level = rest.substr(0, blank);
    if (blank != std::string_view::npos && is_level_name(level)) {
      return {std::string(time), std::string(pid), std::string(level),
              std::string(rest.substr(blank + 1))};
    }
  }
  return {"", "", "", std::string(line)};
}

}  // namespace wrenfall
