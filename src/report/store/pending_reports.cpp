#include "report/store/pending_reports.h"

#include <functional>
#include <map>
#include <utility>

#include "report/store/consent.h"
#include "report/store/crash_data.h"
#include "report/store/kept_reports.h"
#include "report/store/report_store.h"
#include "support/files.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// A record that was written this long before it was read is known by its time from then on: a later
// one has another time, on file systems with coarse times too (FAT counts in 2 s).
constexpr int64_t kSettledTicks = int64_t{3} * 10'000'000;

}  // namespace

std::vector<fs::path> PendingReports::list() {
  // Two listings at once do not wait for each other: the second one starts from nothing.
  KnownRecords before;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    before.swap(known_);
  }
  KnownRecords known;
  std::vector<fs::path> pending;
  const int64_t now = file_time_now();
  for (ListedReport& report : list_reports(root_)) {
    const fs::path::string_type name = report.folder.filename().native();
    const auto found = before.find(name);
    Known record{report.record_time, 0};
    if (found != before.end() && found->second.record_time == report.record_time) {
      record = found->second;
    } else {
      CrashData data;
      if (!load(report.folder, data)) continue;
      record.owner = data.ownerPid;
    }
    if (now - report.record_time > kSettledTicks) known.emplace(name, record);
    if (state_of_report(report.folder, record.owner) == ReportState::kPending) {
      pending.push_back(std::move(report.folder));
    }
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  known_.swap(known);
  return pending;
}

std::vector<fs::path> reports_to_ask_about(const fs::path& store) {
  const uint32_t consent = read_consent(store);
  // By the time of the crash: closing the dialog writes the record again.
  std::multimap<std::string, fs::path, std::greater<>> found;
  for (fs::path& folder : list_report_folders(store)) {
    CrashData record;
    const ReportState state = report_state(folder, record);
    const bool waits =
        (state == ReportState::kPending && waits_for_answer(consent, record.uploadPolicy)) ||
        (state == ReportState::kHasResult && consent == WRENFALL_CONSENT_ASK &&
         lacks_agreement(folder));
    if (waits) {
      found.emplace(record.crashTime, std::move(folder));
    }
  }
  std::vector<fs::path> folders;
  for (auto& [time, folder] : found) folders.push_back(std::move(folder));
  return folders;
}

}  // namespace wrenfall
