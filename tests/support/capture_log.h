#ifndef WRENFALL_TESTS_SUPPORT_CAPTURE_LOG_H_
#define WRENFALL_TESTS_SUPPORT_CAPTURE_LOG_H_

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/logger.h"

namespace wrenfall {

// A logger that keeps what it is given, each as "<level> <message>".
struct CaptureLog {
  explicit CaptureLog(std::filesystem::path path = {})
      : logger(std::move(path), [this](wrenfall_log_level level, const std::string& message) {
          lines.push_back(std::to_string(level) + " " + message);
        }) {}
  CaptureLog(const CaptureLog&) = delete;
  CaptureLog& operator=(const CaptureLog&) = delete;

  std::vector<std::string> lines;
  Logger logger;
};

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_SUPPORT_CAPTURE_LOG_H_
