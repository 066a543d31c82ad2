#ifndef WRENFALL_SUPPORT_LOG_LINE_H_
#define WRENFALL_SUPPORT_LOG_LINE_H_

#include <wrenfall/wrenfall.h>

#include <string>
#include <string_view>

namespace wrenfall {

// "DEBUG", "INFO", "WARN" or "ERROR"; an unknown level counts as INFO.
const char* log_level_name(wrenfall_log_level level);

// "[2026-01-31 23:59:59] [1234] INFO text\n", with the local time and this process's id. Control
// characters in the message become blanks.
std::string log_line(wrenfall_log_level level, std::string_view message);

// The parts of a line of the library's log. A line that the library did not write has nothing but its
// message.
struct LogLine {
  std::string time;  // local, "2026-01-31 23:59:59"
  std::string pid;
  std::string level;
  std::string message;
};

LogLine parse_log_line(std::string_view line);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_LOG_LINE_H_
