#ifndef WRENFALL_REPORT_STORE_ATTACHMENTS_H_
#define WRENFALL_REPORT_STORE_ATTACHMENTS_H_

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "support/logger.h"

namespace wrenfall {

// A file name for an attachment in a report folder: its own, or with the first number from 2 before
// the extension that makes it free: "log.txt", "log (2).txt". Characters and endings that would
// make the system put the file elsewhere are replaced or left out. `is_taken` says which names are in
// use besides the reserved ones.
std::string free_attachment_name(std::string_view name,
                                 const std::function<bool(const std::string&)>& is_taken);

// What becomes of a second attachment of the same name.
enum class SameName { kReplaces, kGetsANumber };

// Copies files into a report folder and returns the names of the copies. None gets a reserved name.
// When an earlier call was interrupted, its names are used again and its files replaced. A file
// that cannot be copied is left out with a warning.
std::vector<std::string> copy_attachments(const std::filesystem::path& folder,
                                          const std::vector<std::string>& paths, SameName rule,
                                          Logger& logger);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_ATTACHMENTS_H_
