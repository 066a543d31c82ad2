#ifndef WRENFALL_REPORT_CRASH_SIGNATURE_H_
#define WRENFALL_REPORT_CRASH_SIGNATURE_H_

#include <string>

#include "report/structured_report.h"

namespace wrenfall {

// What the service groups crashes by: one line "function|file|line" per frame of the first crashing
// thread. Empty when there is no such thread or it has no frames.
std::string crash_signature(const StructuredReport& report);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_CRASH_SIGNATURE_H_
