#include "report/store/report_files.h"

#include <algorithm>
#include <string>

#include "report/store/layout.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// Compared byte for byte, so that a host's attachment "Result.json" is sent.
bool stays_here(const fs::path& file) {
  const std::string name = path_to_utf8(file.filename());
  return name == kCrashDataFile || name == kArchiveFile || name == kResultFile;
}

}  // namespace

std::optional<std::vector<fs::path>> files_to_send(const fs::path& folder) {
  bool opened = false;
  std::vector<fs::path> files = list_folder(folder, &opened);
  if (!opened) return std::nullopt;
  files.erase(
      std::remove_if(files.begin(), files.end(),
                     [](const fs::path& entry) { return !is_file(entry) || stays_here(entry); }),
      files.end());
  std::sort(files.begin(), files.end(),
            [](const fs::path& a, const fs::path& b) { return a.native() < b.native(); });
  return files;
}

bool is_reserved_file_name(std::string_view name) {
  for (const std::string_view record : {kCrashDataFile, kResultFile}) {
    if (equal_ignoring_ascii_case(name, record) ||
        equal_ignoring_ascii_case(name, std::string(record) + kTemporarySuffix)) {
      return true;
    }
  }
  for (const char* const own : {kArchiveFile, kLogFile, kReportDumpFile, kStructuredJsonFile,
                                kStructuredXmlFile, kFeedbackFile, kAsanReportFile}) {
    if (equal_ignoring_ascii_case(name, own)) return true;
  }
  return false;
}

}  // namespace wrenfall
