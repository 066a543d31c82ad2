#ifndef WRENFALL_REPORT_STRUCTURED_REPORT_JSON_H_
#define WRENFALL_REPORT_STRUCTURED_REPORT_JSON_H_

#include <string>

#include "report/structured_report.h"

namespace wrenfall {

// The report as one JSON object, members sorted, indented by two blanks. Bad UTF-8 becomes U+FFFD;
// of registers with the same name the last counts.
std::string structured_report_json(const StructuredReport& report);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STRUCTURED_REPORT_JSON_H_
