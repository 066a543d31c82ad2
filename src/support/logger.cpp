#include "support/logger.h"

#include <cstdio>
#include <string_view>

#include "support/clock.h"
#include "support/files.h"
#include "support/json_text.h"
#include "support/process.h"
#include "support/scrub.h"

namespace wrenfall {
namespace {

constexpr size_t kMessageCapacity = 4096;

const char* level_name(wrenfall_log_level level) {
  switch (level) {
    case WRENFALL_LOG_DEBUG:
      return "DEBUG";
    case WRENFALL_LOG_WARN:
      return "WARN";
    case WRENFALL_LOG_ERROR:
      return "ERROR";
    default:
      return "INFO";
  }
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

}  // namespace

std::string log_line(wrenfall_log_level level, const std::string& message) {
  const CalendarTime now = local_now();
  char head[112];
  std::snprintf(head, sizeof head, "[%04d-%02d-%02d %02d:%02d:%02d] [%lu] %s ", now.year, now.month,
                now.day, now.hour, now.minute, now.second,
                static_cast<unsigned long>(current_process_id()), level_name(level));
  std::string line;
  line.reserve(sizeof head + message.size());
  line = head;
  append_on_one_line(line, message);
  return line += '\n';
}

void Logger::detach_callback() {
  const std::lock_guard<std::mutex> lock(mutex_);
  callback_ = nullptr;
}

void Logger::set_path(const std::filesystem::path& path) {
  const std::lock_guard<std::mutex> lock(mutex_);
  path_ = path;
}

void Logger::log_arguments(wrenfall_log_level level, const char* format, va_list arguments) {
  char formatted[kMessageCapacity];
  formatted[0] = '\0';
  std::vsnprintf(formatted, sizeof formatted, format, arguments);
  // The host is promised UTF-8, but a service's answer may hold other bytes, and the cut may have
  // split a character.
  const std::string message = valid_utf8(scrub_user_names(formatted));

  const std::lock_guard<std::mutex> lock(mutex_);
  if (callback_) callback_(level, message);
  if (!path_.empty()) append_to_file(path_, log_line(level, message));
}

void Logger::log(wrenfall_log_level level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  log_arguments(level, format, arguments);
  va_end(arguments);
}

void Logger::info(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  log_arguments(WRENFALL_LOG_INFO, format, arguments);
  va_end(arguments);
}

void Logger::warn(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  log_arguments(WRENFALL_LOG_WARN, format, arguments);
  va_end(arguments);
}

void Logger::error(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  log_arguments(WRENFALL_LOG_ERROR, format, arguments);
  va_end(arguments);
}

}  // namespace wrenfall
