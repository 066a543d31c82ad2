#ifndef WRENFALL_REPORT_STORE_REPORT_FILES_H_
#define WRENFALL_REPORT_STORE_REPORT_FILES_H_

#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace wrenfall {

// The files of a report folder that are sent, in the order of their names: the regular files that
// lie directly in it, but the record, the result and the archive itself. Nothing when the folder
// cannot be opened. Throws DirectoryIterationError.
std::optional<std::vector<std::filesystem::path>> files_to_send(
    const std::filesystem::path& folder);

// Whether a report folder uses the name itself, for its main file, records, archive or log. Upper
// and lower case of ASCII letters are the same, which is enough for these names.
bool is_reserved_file_name(std::string_view name);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_REPORT_FILES_H_
