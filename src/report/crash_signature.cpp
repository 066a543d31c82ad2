#include "report/crash_signature.h"

namespace wrenfall {

std::string crash_signature(const StructuredReport& report) {
  const ReportThread* const thread = crashing_thread(report);
  if (thread == nullptr) return {};
  std::string signature;
  for (const ReportFrame& frame : thread->frames) {
    if (!signature.empty()) signature += '\n';
    signature.append(frame.function).append("|").append(frame.file).append("|");
    signature += std::to_string(signed_line(frame.line));
  }
  return signature;
}

}  // namespace wrenfall
