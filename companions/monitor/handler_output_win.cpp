#include "monitor/handler_output_win.h"

#include <algorithm>
#include <array>
#include <utility>

namespace wrenfall::monitor {
namespace {

// A handler that writes more than this between two looks has to wait for the next look.
constexpr DWORD kPipeBytes = 64 * 1024;

// A line that gets longer than this is logged without waiting for its end.
constexpr size_t kMaxLine = 4096;

}  // namespace

HandlerOutput::HandlerOutput() {
  HANDLE read_end = nullptr;
  HANDLE write_end = nullptr;
  if (!CreatePipe(&read_end, &write_end, nullptr, kPipeBytes)) return;
  read_end_.reset(read_end);
  write_end_.reset(write_end);
  if (!SetHandleInformation(write_end, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT)) {
    write_end_.reset();
  }
}

bool HandlerOutput::read_some() {
  std::array<char, 4096> buffer{};
  DWORD available = 0;
  DWORD got = 0;
  // Reading an empty pipe would wait, because this process holds the other end open too.
  if (!PeekNamedPipe(read_end_.get(), nullptr, 0, nullptr, &available, nullptr) || available == 0 ||
      !ReadFile(read_end_.get(), buffer.data(),
                std::min(available, static_cast<DWORD>(buffer.size())), &got, nullptr)) {
    return false;
  }
  text_.append(buffer.data(), got);
  return got > 0;
}

void HandlerOutput::read_all() {
  while (read_end_ && read_some()) {
  }
}

void HandlerOutput::log_line(Logger& logger, std::string line) {
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (!line.empty()) logger.warn("Capture handler: %s", line.c_str());
}

void HandlerOutput::log_new_lines(Logger& logger) {
  read_all();
  for (size_t end = text_.find('\n'); end != std::string::npos; end = text_.find('\n')) {
    log_line(logger, text_.substr(0, end));
    text_.erase(0, end + 1);
  }
  if (text_.size() >= kMaxLine) log_line(logger, std::exchange(text_, {}));
}

void HandlerOutput::log_rest(Logger& logger) {
  log_new_lines(logger);
  log_line(logger, std::exchange(text_, {}));
}

}  // namespace wrenfall::monitor
