#include "report/structured_report.h"

#include <algorithm>

namespace wrenfall {

const ReportThread* crashing_thread(const StructuredReport& report) {
  const auto found = std::find_if(report.threads.begin(), report.threads.end(),
                                  [](const ReportThread& thread) { return thread.crashing; });
  return found == report.threads.end() ? nullptr : &*found;
}

size_t estimated_text_size(const StructuredReport& report) {
  // The names of members or elements, blanks, and texts of usual length.
  constexpr size_t kBytesOfFrame = 320;
  constexpr size_t kBytesOfOther = 512;
  size_t size = kBytesOfOther * (1 + report.modules.size() + report.registers.size());
  for (const ReportThread& thread : report.threads) {
    size += kBytesOfOther + kBytesOfFrame * thread.frames.size();
  }
  return size;
}

}  // namespace wrenfall
