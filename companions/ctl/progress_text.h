#ifndef WRENFALL_COMPANIONS_CTL_PROGRESS_TEXT_H_
#define WRENFALL_COMPANIONS_CTL_PROGRESS_TEXT_H_

#include <cstdint>
#include <string>

namespace wrenfall::ctl {

// The text that shows the progress of an upload: on a console one line that is overwritten, elsewhere
// a line for every ten percent.
class ProgressText {
 public:
  explicit ProgressText(bool console) : step_(console ? 1 : 10), console_(console) {}

  // The text to print for this progress; empty when nothing has to be printed yet.
  std::string update(const std::string& name, uint64_t sent, uint64_t total);

 private:
  const int step_;
  const bool console_;
  int last_ = -1;  // the step that was printed last
};

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_PROGRESS_TEXT_H_
