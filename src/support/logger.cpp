#include "support/logger.h"

#include <algorithm>
#include <cstdio>

#include "support/clock.h"
#include "support/files.h"
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

}  // namespace

std::string log_line(wrenfall_log_level level, const std::string& message) {
  const CalendarTime now = local_now();
  char head[112];
  std::snprintf(head, sizeof head, "[%04d-%02d-%02d %02d:%02d:%02d] [%lu] %s ", now.year, now.month,
                now.day, now.hour, now.minute, now.second,
                static_cast<unsigned long>(current_process_id()), level_name(level));
  std::string line = head + message;
  // What a service answered may hold line breaks; it must not look like lines of its own.
  std::replace_if(
      line.begin(), line.end(), [](unsigned char c) { return c < 0x20; }, ' ');
  return line + "\n";
}

void Logger::detach_callback() {
  const std::lock_guard<std::mutex> lock(mutex_);
  callback_ = nullptr;
}

void Logger::set_path(const std::filesystem::path& path) {
  const std::lock_guard<std::mutex> lock(mutex_);
  path_ = path;
}

std::filesystem::path Logger::path() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return path_;
}

void Logger::log_arguments(wrenfall_log_level level, const char* format, va_list arguments) {
  char formatted[kMessageCapacity];
  formatted[0] = '\0';
  std::vsnprintf(formatted, sizeof formatted, format, arguments);
  const std::string message = scrub_user_names(formatted);

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
