#include "report/structured_report.h"

#include <algorithm>

namespace wrenfall {

const ReportThread* crashing_thread(const StructuredReport& report) {
  const auto found = std::find_if(report.threads.begin(), report.threads.end(),
                                  [](const ReportThread& thread) { return thread.crashing; });
  return found == report.threads.end() ? nullptr : &*found;
}

}  // namespace wrenfall
