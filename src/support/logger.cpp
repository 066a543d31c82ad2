#include "support/logger.h"

#include <cstdio>

#include "support/files.h"
#include "support/json_text.h"
#include "support/log_line.h"
#include "support/scrub.h"

namespace wrenfall {
namespace {

constexpr size_t kMessageCapacity = 4096;

}  // namespace

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
