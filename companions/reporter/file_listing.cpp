#include "reporter/file_listing.h"

#include "report/store/report_files.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall::reporter {

namespace fs = std::filesystem;

std::vector<ListedFile> list_files_to_send(const fs::path& folder) {
  std::vector<ListedFile> files;
  try {
    for (const fs::path& file : files_to_send(folder).files) {
      files.push_back({path_to_utf8(file.filename()), size_of_file(file).value_or(0)});
    }
  } catch (const fs::filesystem_error&) {
    // The list only informs the user; sending reports an unreadable folder.
  }
  return files;
}

uint64_t total_size(const std::vector<ListedFile>& files) {
  uint64_t total = 0;
  for (const ListedFile& file : files) total += file.bytes;
  return total;
}

}  // namespace wrenfall::reporter
