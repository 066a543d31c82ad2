#include "report/store/store_pruning.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <new>
#include <optional>
#include <set>
#include <utility>

#include "report/store/crash_data.h"
#include "report/store/folder_claim.h"
#include "report/store/layout.h"
#include "report/store/report_files.h"
#include "report/store/report_store.h"
#include "report/store/retry_file.h"
#include "support/error_text.h"
#include "support/files.h"
#include "support/identifiers.h"
#include "support/process.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

constexpr int64_t kTicksPerSecond = 10'000'000;
constexpr int64_t kSecondsPerDay = 86400;

// The files whose times say when a report was made. The record's alone does not: it is written again
// with each attempt to send it.
constexpr const char* kDatingFiles[] = {kCrashDataFile,     kReportDumpFile, kStructuredJsonFile,
                                        kStructuredXmlFile, kFeedbackFile,   kAsanReportFile};

int64_t age_since(int64_t file_time) {
  return std::max<int64_t>(0, (file_time_now() - file_time) / kTicksPerSecond);
}

// Since the last change of its files, or of itself when it has none.
std::optional<int64_t> age_of_folder(const fs::path& folder) {
  std::optional<int64_t> age;
  for (const fs::path& file : list_folder(folder)) {
    const auto time = file_write_time(file);
    if (time) age = std::min(age.value_or(age_since(*time)), age_since(*time));
  }
  const auto time = age ? std::nullopt : folder_write_time(folder);
  return time ? age_since(*time) : age;
}

StoredReport stored_report(const fs::path& folder) {
  StoredReport report;
  for (const char* const name : kDatingFiles) {
    const auto time = file_write_time(folder / name);
    if (time) report.age_s = std::max(report.age_s, age_since(*time));
  }
  report.bytes = size_of_files(folder);
  report.folder = folder;
  return report;
}

// The processes of the store that run: their reports are theirs.
std::set<uint64_t> running_sessions(const fs::path& store) {
  std::set<uint64_t> running;
  for (const fs::path& file : list_folder(store / kSessionsFolder)) {
    const auto session = ProcessIdentity::parse(path_to_utf8(file.stem()));
    if (session && is_process_running(session->process_id)) running.insert(session->process_id);
  }
  return running;
}

// Asked under the claim.
bool may_remove(const fs::path& folder, const std::set<uint64_t>& runs) {
  CrashData record;
  switch (read_record(folder, record)) {
    case RecordState::kLoaded:
      break;
    case RecordState::kDamaged:
      return true;
    default:
      return false;  // somebody has just removed it, or works on it
  }
  const bool is_owned = record.ownerPid != 0 && is_process_running(record.ownerPid);
  return !is_owned && runs.count(record.processId) == 0;
}

void prune_reports(const PruneRequest& request, Logger& logger) {
  std::vector<StoredReport> reports;
  for (const fs::path& folder : list_report_folders(request.store)) {
    if (!is_link(folder)) reports.push_back(stored_report(folder));
  }
  std::set<uint64_t> runs = running_sessions(request.store);
  if (request.run != 0) runs.insert(request.run);
  const auto remove = [&](const StoredReport& report, RetentionReason reason) {
    const auto claim = FolderClaim::try_take(report.folder);
    if (!claim || !may_remove(report.folder, runs)) return false;
    if (!request.dry_run) {
      if (!discard_claimed_report(report.folder)) return false;
      logger.info("Report removed, %s: %s (%lld days old, %llu bytes)",
                  describe(reason, request.limits).c_str(), path_to_utf8(report.folder).c_str(),
                  static_cast<long long>(report.age_s / kSecondsPerDay),
                  static_cast<unsigned long long>(report.bytes));
    }
    if (request.on_removed) request.on_removed(report, reason);
    return true;
  };
  choose_for_removal(std::move(reports), request.limits, remove);
}

// Whether a folder without a record never became a report, or is left of one. The store may be a folder
// in which the host keeps other things too, so the name alone does not say so.
bool is_left_of_a_report(const fs::path& folder) {
  bool is_empty = true;
  bool holds_own_file = false;
  for (const fs::path& entry : list_folder(folder)) {
    if (!is_file(entry)) return false;
    is_empty = false;
    holds_own_file |= is_reserved_file_name(path_to_utf8(entry.filename()));
  }
  return is_half_made(folder) ||
         (is_uuid(path_to_utf8(folder.filename())) && (is_empty || holds_own_file));
}

// Removes what never became a report, or is left of one.
class Leftovers {
 public:
  Leftovers(const PruneRequest& request, Logger& logger) : request_(request), logger_(logger) {}

  void remove_all() {
    const fs::path& store = request_.store;
    const fs::path handler = store / kHandlerFolder;
    remove_old_files(handler / kDumpsFolder, [](const fs::path& file) {
      return file.extension() == kDumpExtension || file.extension() == kDamagedSuffix;
    });
    remove_old_files(handler / kSessionsFolder, [](const fs::path&) { return true; });
    remove_old_files(store / kSessionsFolder, [](const fs::path& file) {
      const auto session = ProcessIdentity::parse(path_to_utf8(file.stem()));
      return !session || !is_process_running(session->process_id);
    });
    remove_old_files(store, [](const fs::path& file) {
      return path_to_utf8(file.filename()) == std::string(kReportLimitFile) + kTemporarySuffix;
    });
    for (const fs::path& folder : list_folder(store)) {
      if (!is_folder(folder) || is_link(folder) || is_own_folder(folder)) continue;
      if (path_exists(folder / kCrashDataFile)) {
        if (is_retry_file(folder / kRetryFile)) {
          remove_old(folder / (std::string(kRetryFile) + kTemporarySuffix));
        }
      } else if (is_left_of_a_report(folder)) {
        remove_old_folder(folder);
      }
    }
  }

 private:
  template <typename IsLeftover>
  void remove_old_files(const fs::path& folder, IsLeftover is_leftover) {
    if (is_link(folder)) return;
    for (const fs::path& file : list_folder(folder)) {
      if (is_file(file) && is_leftover(file)) remove_old(file);
    }
  }

  void remove_old(const fs::path& file) {
    const auto time = file_write_time(file);
    if (time && is_old(age_since(*time))) remove(file, age_since(*time));
  }

  void remove_old_folder(const fs::path& folder) {
    const auto age = age_of_folder(folder);
    if (!age || !is_old(*age)) return;
    const auto claim = FolderClaim::try_take(folder);
    if (claim && !path_exists(folder / kCrashDataFile)) remove(folder, *age);
  }

  bool is_old(int64_t age_s) const { return age_s > request_.limits.max_age_days * kSecondsPerDay; }

  void remove(const fs::path& entry, int64_t age_s) {
    if (!request_.dry_run) {
      if (!remove_entry(entry)) return;
      logger_.info("Leftover removed, %s: %s (%lld days old)",
                   describe(RetentionReason::kAge, request_.limits).c_str(),
                   path_to_utf8(entry).c_str(), static_cast<long long>(age_s / kSecondsPerDay));
    }
    if (request_.on_leftover) request_.on_leftover(entry, age_s);
  }

  const PruneRequest& request_;
  Logger& logger_;
};

}  // namespace

void prune_store(const PruneRequest& request, Logger& logger) {
  if (request.limits.any()) prune_reports(request, logger);
  if (request.limits.max_age_days != 0) Leftovers(request, logger).remove_all();
}

void try_prune_store(const PruneRequest& request, Logger& logger) {
  try {
    prune_store(request, logger);
  } catch (const fs::filesystem_error& error) {
    logger.warn("Removing old reports broke off: %s", error_text(error).c_str());
  } catch (const std::bad_alloc&) {
    // The next time there may be memory for it.
  }
}

}  // namespace wrenfall
