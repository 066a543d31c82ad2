#ifndef WRENFALL_COMPANIONS_MONITOR_ATTACHMENT_NAMES_H_
#define WRENFALL_COMPANIONS_MONITOR_ATTACHMENT_NAMES_H_

#include <functional>
#include <string>
#include <string_view>

namespace wrenfall {

// Whether a report folder uses the name itself, for its dump, records, archive or log. Upper and
// lower case of ASCII letters are the same, which is enough for these names.
bool is_reserved_file_name(std::string_view name);

// A file name for an attachment in a report folder: its own, or with the first number from 2 before
// the extension that makes it free: "log.txt", "log (2).txt". Characters and endings that would
// make the system put the file elsewhere are replaced or left out. `is_taken` tells of names in use
// besides the reserved ones.
std::string free_attachment_name(std::string_view name,
                                 const std::function<bool(const std::string&)>& is_taken);

}  // namespace wrenfall

#endif  // WRENFALL_COMPANIONS_MONITOR_ATTACHMENT_NAMES_H_
