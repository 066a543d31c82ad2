#ifndef WRENFALL_REPORT_STORE_REPORT_FILES_H_
#define WRENFALL_REPORT_STORE_REPORT_FILES_H_

#include <filesystem>
#include <string_view>
#include <vector>

namespace wrenfall {

// What an upload takes of a report folder.
struct FilesToSend {
  bool listed = false;  // false when the folder cannot be opened
  // The regular files that lie directly in it, but the record, the result, the archive itself and
  // the retry file, in the order of their names.
  std::vector<std::filesystem::path> files;
  // Entries that look like files and are none: links that lead nowhere, devices.
  std::vector<std::filesystem::path> skipped;
};

// Throws DirectoryIterationError.
FilesToSend files_to_send(const std::filesystem::path& folder);

// Whether a report folder uses the name itself, for one of its own files or while it writes one.
// Upper and lower case of ASCII letters are the same, which is enough for these names.
bool is_reserved_file_name(std::string_view name);

// Removes from a report folder what a process left that ended while it wrote a file.
void remove_stale_temporaries(const std::filesystem::path& folder);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_REPORT_FILES_H_
