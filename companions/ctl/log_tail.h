#ifndef WRENFALL_COMPANIONS_CTL_LOG_TAIL_H_
#define WRENFALL_COMPANIONS_CTL_LOG_TAIL_H_

#include <cstdint>
#include <string>
#include <vector>

#include "minidump/minidump_layout.h"

namespace wrenfall::ctl {

// The offset in a file of `size` bytes at which its last `lines` lines begin. 0 when the file has
// fewer lines, or when it cannot be read. A line break at the end of the file does not begin a line.
// Reads the file backwards in pieces.
uint64_t start_of_last_lines(const minidump::ReadAt& read, uint64_t size, uint64_t lines);

// Makes lines of the pieces in which a growing file is read. The library writes no line of more than
// some kilobytes; longer lines are split, so that they do not fill the memory.
class LineSplitter {
 public:
  // The lines that are complete now, without their breaks.
  std::vector<std::string> add(const std::string& bytes);
  // The last line, which has no break yet; empty when the file ended with a break. It is forgotten
  // here.
  std::string rest();

 private:
  std::string rest_;
};

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_LOG_TAIL_H_
