#ifndef WRENFALL_SUPPORT_LOGGER_H_
#define WRENFALL_SUPPORT_LOGGER_H_

#include <wrenfall/wrenfall.h>

#include <cstdarg>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>

// Lets GCC and clang check the arguments of a member function (`this` counts as the first) against
// its format.
#if defined(__MINGW32__)
#include <cstdio>
#define WRENFALL_PRINTF(position, first) \
  __attribute__((format(__MINGW_PRINTF_FORMAT, position, first)))
#elif defined(__GNUC__)
#define WRENFALL_PRINTF(position, first) __attribute__((format(printf, position, first)))
#else
#define WRENFALL_PRINTF(position, first)
#endif

namespace wrenfall {

// Formats a message (at most 4095 bytes are kept), takes the user names out of its paths, hands it
// to the callback and appends it as one line to the log file, each only where set. The file is
// opened for each line, so that several processes and loggers can share it; a line that cannot be
// written is dropped.
//
// Any thread may log. Callback and file are served under one mutex, so lines of this logger never
// interleave and the callback is never entered twice at once; a callback that logs through the same
// logger would wait for itself. An exception from the callback leaves the logging call.
class Logger {
 public:
  using Callback = std::function<void(wrenfall_log_level, const std::string&)>;

  Logger() = default;
  explicit Logger(std::filesystem::path path, Callback callback = nullptr)
      : path_(std::move(path)), callback_(std::move(callback)) {}
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  // Removes the callback, after waiting for a call of it that is under way.
  void detach_callback();

  void set_path(const std::filesystem::path& path);

  void log(wrenfall_log_level level, const char* format, ...) WRENFALL_PRINTF(3, 4);
  void info(const char* format, ...) WRENFALL_PRINTF(2, 3);
  void warn(const char* format, ...) WRENFALL_PRINTF(2, 3);
  void error(const char* format, ...) WRENFALL_PRINTF(2, 3);

 private:
  void log_arguments(wrenfall_log_level level, const char* format, va_list arguments);

  mutable std::mutex mutex_;
  std::filesystem::path path_;  // guarded by mutex_
  Callback callback_;           // guarded by mutex_
};

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_LOGGER_H_
