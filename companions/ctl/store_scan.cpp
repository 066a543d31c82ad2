#include "ctl/store_scan.h"

#include <algorithm>
#include <set>
#include <utility>

#include "report/store/kept_reports.h"
#include "report/store/layout.h"
#include "report/store/report_store.h"
#include "report/store/retry_file.h"
#include "support/clock.h"
#include "support/files.h"

namespace wrenfall::ctl {

namespace fs = std::filesystem;

namespace {

std::string state_text(const std::optional<ReportResult>& result) {
  if (!result) return kStatusFailed;
  if (result->cancelled) return "cancelled";
  for (const char* const word : {kStatusUploaded, kStatusRejected}) {
    if (result->status == word) return word;
  }
  return kStatusFailed;
}

// When the crash was, as ISO 8601. The last write of the record takes its place where that names no
// time; otherwise it says nothing, as closing the dialog writes the record again.
std::string time_of_report(const fs::path& folder, const CrashData& record) {
  if (!record.crashTime.empty()) return record.crashTime;
  const auto age = age_of_file(folder / kCrashDataFile);
  return age ? iso_text(utc_time(unix_now() - age->count())) : "";
}

// `claimed` says that a process holds the claim to the folder.
std::optional<ReportSummary> summarize(const fs::path& folder, bool claimed) {
  ReportSummary summary;
  summary.folder = folder;
  CrashData data;
  const bool had_record = is_file(folder / kCrashDataFile);
  const ReportState state = report_state(folder, data);
  summary.time = time_of_report(folder, data);
  summary.size = size_of_files(folder);
  ReportResult result;
  if (read_result(folder, result)) summary.result = result;
  if (state == ReportState::kUnreadable) {
    // It may have been sent and deleted meanwhile.
    if (!is_folder(folder)) return std::nullopt;
    // Only a record that was there before and afterwards is damaged. Otherwise it has just been
    // written or deleted.
    summary.state = had_record && is_file(folder / kCrashDataFile) ? "damaged" : "incomplete";
  } else {
    summary.record = std::move(data);
    summary.state = state == ReportState::kHasResult ? state_text(summary.result)
                    : state == ReportState::kOwned   ? "owned"
                                                     : "pending";
    if (state == ReportState::kHasResult) summary.retry = waiting_retry(folder);
    if (summary.retry) summary.state = "waiting";
  }
  if (claimed) summary.state = "sending";
  return summary;
}

// A listing shows none of these texts. Without them the records of thousands of reports fit into the
// memory.
void drop_long_texts(CrashData& record) {
  record.userDescription = record.notes = record.environment = {};
  record.attributes.clear();
  record.attachments.clear();
}

}  // namespace

std::string waiting_text(const RetryState& retry, const fs::path& folder) {
  return "waits until " + local_time_text(due_time(retry, resend_id(folder))) + ", attempt " +
         std::to_string(retry.attempts + 1) + " of " + std::to_string(kMaxResendAttempts);
}

std::string ReportSummary::state_text() const {
  return state == "waiting" && retry ? waiting_text(*retry, folder) : state;
}

std::vector<StoreSummary> find_stores(const fs::path& folder) {
  std::vector<StoreSummary> stores;
  for (fs::path& entry : list_folder(folder)) {
    if (!is_file(entry / kLogFile) && !is_folder(entry / kHandlerFolder)) continue;
    StoreSummary summary;
    for (const fs::path& report : list_report_folders(entry)) {
      ++summary.reports;
      summary.size += size_of_files(report);
    }
    summary.store = std::move(entry);
    stores.push_back(std::move(summary));
  }
  std::sort(stores.begin(), stores.end(),
            [](const StoreSummary& a, const StoreSummary& b) { return a.store < b.store; });
  return stores;
}

std::optional<ReportSummary> summarize_report(const fs::path& folder) {
  if (!is_folder(folder) || is_own_folder(folder)) return std::nullopt;
  return summarize(folder, path_exists(claim_file(folder)));
}

std::optional<std::vector<ReportSummary>> scan_store(const fs::path& store) {
  bool opened = false;
  const std::vector<fs::path> entries = list_folder(store, &opened);
  if (!opened) return std::nullopt;
  const std::set<fs::path> names(entries.begin(), entries.end());
  std::vector<fs::path> folders = list_report_folders(store);
  const std::set<fs::path> reports(folders.begin(), folders.end());
  for (const fs::path& entry : entries) {
    const bool is_report = reports.count(entry) != 0;
    if (!is_report && is_folder(entry) && !is_own_folder(entry)) folders.push_back(entry);
  }
  std::vector<ReportSummary> summaries;
  for (const fs::path& folder : folders) {
    auto summary = summarize(folder, names.count(claim_file(folder)) != 0);
    if (!summary) continue;
    if (summary->record) drop_long_texts(*summary->record);
    summaries.push_back(std::move(*summary));
  }
  std::stable_sort(summaries.begin(), summaries.end(),
                   [](const ReportSummary& a, const ReportSummary& b) {
                     if (a.time.empty() || b.time.empty()) return !a.time.empty() && b.time.empty();
                     return a.time < b.time;
                   });
  return summaries;
}

std::optional<fs::path> newest_report(const fs::path& store) {
  std::optional<fs::path> newest;
  std::string newest_time;
  for (fs::path& folder : list_report_folders(store)) {
    CrashData record;
    load(folder, record);
    std::string time = time_of_report(folder, record);
    // Of several crashes in a second that with the newest record.
    if (newest && time < newest_time) continue;
    newest = std::move(folder);
    newest_time = std::move(time);
  }
  return newest;
}

}  // namespace wrenfall::ctl
