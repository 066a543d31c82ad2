#include "ctl/log_tail.h"

#include <algorithm>
#include <utility>

namespace wrenfall::ctl {
namespace {

constexpr size_t kPiece = size_t{64} * 1024;
constexpr size_t kMaxLine = size_t{64} * 1024;

}  // namespace

uint64_t start_of_last_lines(const minidump::ReadAt& read, uint64_t size, uint64_t lines) {
  if (lines == 0) return size;
  std::vector<char> piece(kPiece);
  uint64_t breaks = 0;
  for (uint64_t end = size; end > 0;) {
    const auto length = static_cast<size_t>(std::min<uint64_t>(kPiece, end));
    const uint64_t start = end - length;
    if (!read(start, piece.data(), length)) return 0;
    for (size_t i = length; i > 0; --i) {
      const uint64_t offset = start + i;
      if (piece[i - 1] == '\n' && offset != size && ++breaks == lines) return offset;
    }
    end = start;
  }
  return 0;
}

std::vector<std::string> LineSplitter::add(const std::string& bytes) {
  rest_ += bytes;
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n', start)) {
    for (; end - start > kMaxLine; start += kMaxLine) {
      lines.push_back(rest_.substr(start, kMaxLine));
    }
    lines.push_back(rest_.substr(start, end - start));
    start = end + 1;
  }
  for (; rest_.size() - start > kMaxLine; start += kMaxLine) {
    lines.push_back(rest_.substr(start, kMaxLine));
  }
  rest_.erase(0, start);
  return lines;
}

std::string LineSplitter::rest() { return std::exchange(rest_, {}); }

}  // namespace wrenfall::ctl
