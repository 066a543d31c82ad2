#include "monitor/handler_output_win.h"

#include <algorithm>
#include <array>

namespace wrenfall::monitor {
namespace {

// A handler that says more between two looks has to wait for the next one.
constexpr DWORD kPipeBytes = 64 * 1024;

// What gets longer than this is logged without waiting for the end of its line.
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
  // A read of more than there is could wait, as this process holds the other end open too.
  if (!PeekNamedPipe(read_end_.get(), nullptr, 0, nullptr, &available, nullptr) || available == 0 ||
      !ReadFile(read_end_.get(), buffer.data(),
                std::min(available, static_cast<DWORD>(buffer.size())), &got, nullptr)) {
    return false;
  }
  text_.append(buffer.data(), got);
  return got > 0;
}

void HandlerOutput::pass_on(Logger& logger, bool at_end) {
  while (read_end_ && read_some()) {
  }
  while (!text_.empty()) {
    const size_t end = text_.find('\n');
    const bool is_whole = end != std::string::npos;
    if (!is_whole && !at_end && text_.size() < kMaxLine) return;
    std::string line = text_.substr(0, end);
    text_.erase(0, is_whole ? end + 1 : end);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) logger.warn("Capture handler: %s", line.c_str());
  }
}

}  // namespace wrenfall::monitor
