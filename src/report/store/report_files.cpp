#include "report/store/report_files.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <utility>

#include "report/store/layout.h"
#include "report/store/retry_file.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// Compared byte for byte, so that a host's attachment "Result.json" is sent.
bool stays_here(const fs::path& file) {
  const std::string name = path_to_utf8(file.filename());
  return name == kCrashDataFile || name == kArchiveFile || name == kResultFile ||
         is_retry_file(file) ||
         (name == std::string(kRetryFile) + kTemporarySuffix &&
          is_retry_file(file.parent_path() / kRetryFile));
}

// No file takes that long to write or to copy.
constexpr std::chrono::minutes kStaleAge(10);

bool is_own_temporary(std::string_view name) {
  if (equal_ignoring_ascii_case(name, kAttachmentTemporary)) return true;
  return std::any_of(std::begin(kOwnFiles), std::end(kOwnFiles), [name](const char* own) {
    return equal_ignoring_ascii_case(name, std::string(own) + kTemporarySuffix);
  });
}

}  // namespace

FilesToSend files_to_send(const fs::path& folder) {
  FilesToSend found;
  for (fs::path& entry : list_folder(folder, &found.listed)) {
    if (!is_file(entry) || stays_here(entry)) continue;
    auto& files = is_disk_file(entry) ? found.files : found.skipped;
    files.push_back(std::move(entry));
  }
  std::sort(found.files.begin(), found.files.end(),
            [](const fs::path& a, const fs::path& b) { return a.native() < b.native(); });
  return found;
}

bool is_reserved_file_name(std::string_view name) {
  return is_own_temporary(name) ||
         std::any_of(std::begin(kOwnFiles), std::end(kOwnFiles),
                     [name](const char* own) { return equal_ignoring_ascii_case(name, own); });
}

void remove_stale_temporaries(const fs::path& folder) {
  for (const fs::path& file : list_folder(folder)) {
    if (!is_own_temporary(path_to_utf8(file.filename()))) continue;
    const auto age = age_of_file(file);
    if (age && *age >= kStaleAge) remove_entry(file);
  }
}

}  // namespace wrenfall
