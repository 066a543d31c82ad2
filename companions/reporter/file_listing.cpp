#include "reporter/file_listing.h"

#include <algorithm>

#include "report/store/crash_data.h"
#include "report/store/report_result.h"
#include "support/files.h"
#include "support/text.h"
#include "upload/report_archive.h"

namespace wrenfall::reporter {

namespace fs = std::filesystem;

std::vector<ListedFile> list_files_to_send(const fs::path& folder) {
  std::vector<ListedFile> files;
  try {
    for (const fs::path& entry : list_folder(folder)) {
      const std::string name = path_to_utf8(entry.filename());
      if (!is_file(entry) || name == kCrashDataFile || name == kArchiveFile || name == kResultFile)
        continue;
      files.push_back({name, size_of_file(entry).value_or(0)});
    }
  } catch (const fs::filesystem_error&) {
    // The list is for the user's information; sending tells of an unreadable folder.
  }
  std::sort(files.begin(), files.end(),
            [](const ListedFile& a, const ListedFile& b) { return a.name < b.name; });
  return files;
}

uint64_t total_size(const std::vector<ListedFile>& files) {
  uint64_t total = 0;
  for (const ListedFile& file : files) total += file.bytes;
  return total;
}

}  // namespace wrenfall::reporter
