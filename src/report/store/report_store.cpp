#include "report/store/report_store.h"

#include <algorithm>
#include <utility>

#include "report/store/crash_data.h"
#include "report/store/folder_claim.h"
#include "report/store/layout.h"
#include "report/store/report_result.h"
#include "report/store/retry_file.h"
#include "support/files.h"
#include "support/paths.h"
#include "support/process.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// Whether the report is in the hands of its owner: of another living process, or of a thread of this
// one that is posting it.
bool has_living_owner(const fs::path& folder, uint64_t owner) {
  if (owner == 0) return false;
  if (owner == current_process_id()) return !FolderClaim::try_take(folder);
  return is_process_running(owner);
}

// Whether an entry of the store is one of the library's own folders. A link is one when it leads to
// one: the file system is asked what is the same.
bool is_own_entry(const fs::path& root, const fs::path& entry) {
  const std::string name = path_to_utf8(entry.filename());
  if (equal_ignoring_ascii_case(name, kSessionsFolder) ||
      equal_ignoring_ascii_case(name, kHandlerFolder)) {
    return true;
  }
  return is_link(entry) && (is_same_entry(entry, root / kSessionsFolder) ||
                            is_same_entry(entry, root / kHandlerFolder));
}

}  // namespace

bool is_own_folder(const fs::path& folder) {
  const fs::path plain = plain_path(folder);
  const fs::path root = plain.parent_path();
  return is_own_entry(root, plain) || is_same_entry(plain, root / kSessionsFolder) ||
         is_same_entry(plain, root / kHandlerFolder);
}

bool is_half_made(const fs::path& folder) {
  // No monitor makes a link; what one leads to is not the store's.
  return is_file(folder / kReportDumpFile) && !path_exists(folder / kCrashDataFile) &&
         !is_link(folder) && !is_own_folder(folder);
}

ReportState state_of_report(const fs::path& folder, uint64_t owner) {
  if (path_exists(folder / kResultFile)) return ReportState::kHasResult;
  return has_living_owner(folder, owner) ? ReportState::kOwned : ReportState::kPending;
}

ReportState report_state(const fs::path& folder, CrashData& record) {
  return load(folder, record) ? state_of_report(folder, record.ownerPid) : ReportState::kUnreadable;
}

std::vector<ListedReport> list_reports(const fs::path& root) {
  std::vector<ListedReport> found;
  for (fs::path& entry : list_folder(root)) {
    const auto time = file_write_time(entry / kCrashDataFile);
    if (time && !is_own_entry(root, entry)) found.push_back({std::move(entry), *time});
  }
  std::stable_sort(found.begin(), found.end(), [](const ListedReport& a, const ListedReport& b) {
    return a.record_time < b.record_time;
  });
  return found;
}

std::vector<fs::path> list_report_folders(const fs::path& root) {
  std::vector<fs::path> folders;
  for (ListedReport& report : list_reports(root)) folders.push_back(std::move(report.folder));
  return folders;
}

bool remove_report_folder(const fs::path& folder) {
  // What a link leads to is not the store's.
  if (is_link(folder)) return remove_entry(folder);
  const fs::path record = folder / kCrashDataFile;
  const fs::path result = folder / kResultFile;
  // First, so that half a report is never sent again.
  const fs::path retry = folder / kRetryFile;
  if (is_retry_file(retry) && !remove_entry(retry)) return false;
  bool emptied = true;
  try {
    for (const fs::path& entry : list_folder(folder)) {
      if (entry != record && entry != result) emptied = remove_entry(entry) && emptied;
    }
  } catch (const DirectoryIterationError&) {
    return false;
  }
  return emptied && remove_entry(record) && remove_entry(result) && remove_folder(folder);
}

uint64_t size_of_files(const fs::path& folder) {
  uint64_t size = 0;
  for (const fs::path& file : list_folder(folder)) size += size_of_file(file).value_or(0);
  return size;
}

bool discard_claimed_report(const fs::path& folder) {
  if (is_link(folder)) return remove_report_folder(folder);
  // With this result the folder is neither pending nor sent again, even if not all of it can be deleted.
  ReportResult discarded;
  discarded.status = kStatusFailed;
  discarded.cancelled = true;
  if (is_file(folder / kCrashDataFile) &&
      (!path_exists(folder / kResultFile) || is_retry_file(folder / kRetryFile))) {
    write_result(folder, discarded);
  }
  return remove_report_folder(folder);
}

bool discard_report_folder(const fs::path& root, const fs::path& folder) {
  const fs::path target = plain_path(folder);
  if (!is_folder(target)) return false;
  if (is_own_folder(target)) return false;
  if (!is_same_entry(target.parent_path(), root) && !is_file(target / kCrashDataFile)) return false;
  const auto claim = FolderClaim::try_take(target);
  return claim && discard_claimed_report(target);
}

}  // namespace wrenfall
