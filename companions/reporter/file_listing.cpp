#include "reporter/file_listing.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "report/crash_data.h"
#include "report/report_result.h"
#include "support/files.h"
#include "support/text.h"
#include "upload/report_archive.h"

namespace wrenfall {

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

std::string size_text(uint64_t bytes) {
  if (bytes < 1024) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  static constexpr std::array kUnits = {" KB", " MB", " GB", " TB"};
  auto tenths = static_cast<double>(bytes) / 1024 * 10;
  size_t unit = 0;
  // Also what would be rounded up to 1024.0 is shown in the next unit.
  while (tenths >= 10239.5 && unit + 1 < kUnits.size()) {
    tenths /= 1024;
    ++unit;
  }
  const auto rounded = static_cast<uint64_t>(std::llround(tenths));
  return std::to_string(rounded / 10) + "." + std::to_string(rounded % 10) + kUnits[unit];
}

}  // namespace wrenfall
