#ifndef WRENFALL_REPORT_STRUCTURED_REPORT_JSON_H_
#define WRENFALL_REPORT_STRUCTURED_REPORT_JSON_H_

#include <iosfwd>

#include "report/structured_report.h"

namespace wrenfall {

// Writes the report as one JSON object, members sorted, indented by two blanks. Bad UTF-8 becomes
// U+FFFD; of registers with the same name the last counts.
void write_structured_report_json(const StructuredReport& report, std::ostream& stream);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STRUCTURED_REPORT_JSON_H_
