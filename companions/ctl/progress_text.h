#ifndef WRENFALL_COMPANIONS_CTL_PROGRESS_TEXT_H_
#define WRENFALL_COMPANIONS_CTL_PROGRESS_TEXT_H_

#include <cstdint>
#include <string>

namespace wrenfall::ctl {

// Turns what the HTTP client tells into what is printed: on a console one line that is written over
// and over, elsewhere a line every ten percent.
class ProgressText {
 public:
  explicit ProgressText(bool console) : step_(console ? 1 : 10), console_(console) {}

  // What to print now; mostly nothing.
  std::string update(const std::string& name, uint64_t sent, uint64_t total);

 private:
  const int step_;
  const bool console_;
  int last_ = -1;  // the last step printed
};

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_PROGRESS_TEXT_H_
