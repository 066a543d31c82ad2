#ifndef WRENFALL_REPORT_STRUCTURED_REPORT_XML_H_
#define WRENFALL_REPORT_STRUCTURED_REPORT_XML_H_

#include <iosfwd>

#include "report/structured_report.h"

namespace wrenfall {

// Writes the report as an XML document without a declaration, in the layout that the service reads.
// Markup characters in texts are escaped, and names of functions stand in CDATA sections. All else
// is written as the host gave it: control characters, bad UTF-8, and names of registers that are no
// XML names make a document that strict parsers refuse.
void write_structured_report_xml(const StructuredReport& report, std::ostream& stream);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STRUCTURED_REPORT_XML_H_
