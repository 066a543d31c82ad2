#include "reporter/report_queue.h"

#include <utility>

#include "report/store/crash_data.h"
#include "report/store/folder_claim.h"
#include "report/store/kept_reports.h"
#include "report/store/layout.h"
#include "report/store/pending_reports.h"
#include "report/store/report_store.h"
#include "report/store/upload_policy.h"
#include "support/error_text.h"
#include "support/files.h"
#include "support/process.h"
#include "support/text.h"

namespace wrenfall::reporter {

namespace fs = std::filesystem;

namespace {

// About five seconds with the pauses of the reporter.
constexpr int kMaxPauses = 100;

void make_owner(const fs::path& folder, uint64_t process, Logger& logger) {
  // Take the claim first: saving without it could create a folder again that another process has
  // just deleted.
  const FolderClaim claim(folder);
  CrashData record;
  if (!load(folder, record)) return;
  if (path_exists(folder / kResultFile) && !lacks_agreement(folder)) return;
  record.ownerPid = process;
  if (!save(folder, record)) {
    logger.warn("Report record not written: %s", path_to_utf8(folder).c_str());
  }
}

}  // namespace

ReportQueue::ReportQueue(fs::path store, std::string policy, ReporterLock& lock, Steps steps,
                         Logger& logger)
    : store_(std::move(store)),
      policy_(std::move(policy)),
      lock_(lock),
      steps_(std::move(steps)),
      logger_(logger) {}

bool ReportQueue::is_ours(const fs::path& folder) const {
  CrashData record;
  const ReportState state = report_state(folder, record);
  if (record.ownerPid == 0) return false;
  // What is to be asked about is handed over whatever its policy, also one that is kept to be sent again.
  // No other report may be sent, or asked about, against its policy.
  const bool handed_over = policy_ == kPolicyDialog && record.ownerPid == current_process_id();
  if (state == ReportState::kHasResult) return handed_over && lacks_agreement(folder);
  return state == ReportState::kPending &&
         (handed_over || known_upload_policy(record.uploadPolicy) == policy_);
}

std::vector<fs::path> ReportQueue::waiting() const {
  std::vector<fs::path> found;
  std::set<fs::path> known = begun_;
  try {
    if (asks_) {
      for (fs::path& folder : reports_to_ask_about(store_)) {
        if (known.insert(folder).second) found.push_back(std::move(folder));
      }
    }
    for (fs::path& folder : list_report_folders(store_)) {
      if (known.count(folder) == 0 && is_ours(folder)) found.push_back(std::move(folder));
    }
  } catch (const DirectoryIterationError& error) {
    logger_.warn("Waiting reports not found: %s", error_text(error).c_str());
  }
  return found;
}

bool ReportQueue::serve_all(std::vector<fs::path> reports) {
  while (!reports.empty()) {
    for (const fs::path& folder : reports) {
      begun_.insert(folder);
      if (!steps_.serve(folder)) return false;
    }
    reports = waiting();
  }
  return true;
}

bool ReportQueue::hand_over(const std::vector<fs::path>& reports) {
  const uint64_t holder = lock_.holder();
  if (holder == 0) return false;
  for (const fs::path& folder : reports) make_owner(folder, holder, logger_);
  if (lock_.holder() != holder) return false;
  for (const fs::path& folder : reports) {
    logger_.info("Report left to the running reporter (process %llu): %s",
                 static_cast<unsigned long long>(holder), path_to_utf8(folder).c_str());
  }
  steps_.on_handed_over(holder);
  return true;
}

void ReportQueue::run(const fs::path& first) {
  // A report that waits for the host alone is sent at somebody's word, whatever else is at work.
  if (policy_ == kPolicyManual) {
    steps_.serve(first);
    return;
  }
  work_on({first});
}

void ReportQueue::run_asking() {
  asks_ = true;
  work_on(waiting());
}

void ReportQueue::work_on(std::vector<fs::path> reports) {
  int pauses = 0;
  while (!reports.empty()) {
    if (lock_.try_take()) {
      const bool served = serve_all(std::move(reports));
      lock_.release();
      if (!served) return;
      reports = waiting();
    } else if (hand_over(reports) || ++pauses > kMaxPauses) {
      // A holder that could not write its id down finds the reports nevertheless, or the next start
      // does: their owner does not run any more.
      return;
    } else {
      steps_.pause();
    }
  }
}

}  // namespace wrenfall::reporter
