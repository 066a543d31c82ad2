#ifndef WRENFALL_REPORT_STRUCTURED_REPORT_XML_H_
#define WRENFALL_REPORT_STRUCTURED_REPORT_XML_H_

#include <string>

#include "report/structured_report.h"

namespace wrenfall {

// The report as an XML document without a declaration, in the layout that the service reads. Markup
// characters in texts are escaped, and names of functions are in CDATA sections. Everything else is
// written as the host gave it: control characters, bad UTF-8, and names of registers that are no XML
// names make a document that strict parsers refuse.
std::string structured_report_xml(const StructuredReport& report);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STRUCTURED_REPORT_XML_H_
