#include "ctl/progress_text.h"

#include "common/size_text.h"
#include "ctl/output_text.h"

namespace wrenfall::ctl {

std::string ProgressText::update(const std::string& name, uint64_t sent, uint64_t total) {
  if (sent == 0) last_ = -1;  // another upload begins
  const double share = total == 0 ? 1.0 : static_cast<double>(sent) / static_cast<double>(total);
  const int percent = sent >= total ? 100 : static_cast<int>(share * 100);
  if (percent / step_ == last_) return {};
  last_ = percent / step_;
  const std::string text = escape_for_terminal(name) + ": " + std::to_string(percent) + " % of " +
                           size_text(total) + " (" + std::to_string(sent) + " bytes)";
  if (!console_) return text + "\n";
  // The blanks overwrite the end of a longer text that was printed before.
  return "\r" + text + "   " + (sent >= total ? "\n" : "");
}

}  // namespace wrenfall::ctl
