#ifndef WRENFALL_COMPANIONS_CTL_LOG_TAIL_H_
#define WRENFALL_COMPANIONS_CTL_LOG_TAIL_H_

#include <cstdint>
#include <string>
#include <vector>

#include "minidump/minidump_layout.h"

namespace wrenfall::ctl {

// A line of the library's log, taken apart. A line that is none has nothing but its message.
struct LogLine {
  std::string time;  // local, "2026-01-31 23:59:59"
  std::string pid;
  std::string level;
  std::string message;
};

LogLine parse_log_line(const std::string& line);

// The offset in a file of `size` bytes at which its last `lines` lines begin; the start of the file
// when it has fewer, or when it cannot be read. A line break at the end begins no line. Reads
// backwards, piece by piece.
uint64_t start_of_last_lines(const minidump::ReadAt& read, uint64_t size, uint64_t lines);

// Puts the pieces of a growing file together to lines. The log holds no line of more than some
// kilobytes: what is longer comes in pieces.
class LineSplitter {
 public:
  // The lines that are complete now, without their breaks.
  std::vector<std::string> add(const std::string& bytes);
  // What is left at the end of the file; empty when it ended with a break.
  std::string rest();

 private:
  std::string rest_;
};

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_LOG_TAIL_H_
