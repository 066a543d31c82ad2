#include "reporter/report_queue.h"

#include <utility>

#include "report/store/crash_data.h"
#include "report/store/folder_claim.h"
#include "report/store/layout.h"
#include "report/store/report_store.h"
#include "report/store/upload_policy.h"
#include "support/files.h"
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
  if (!load(folder, record) || path_exists(folder / kResultFile)) return;
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

std::vector<fs::path> ReportQueue::waiting() const {
  std::vector<fs::path> found;
  try {
    for (fs::path& folder : list_report_folders(store_)) {
      CrashData record;
      if (begun_.count(folder) == 0 && report_state(folder, record) == ReportState::kPending &&
          record.ownerPid != 0 && known_upload_policy(record.uploadPolicy) == policy_) {
        found.push_back(std::move(folder));
      }
    }
  } catch (const DirectoryIterationError& error) {
    logger_.warn("Waiting reports not found: %s", error.what());
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
  std::vector<fs::path> reports = {first};
  int pauses = 0;
  while (!reports.empty()) {
    if (lock_.try_take()) {
      const bool served = serve_all(std::move(reports));
      lock_.release();
      if (!served) return;
      reports = waiting();
    } else if (hand_over(reports)) {
      return;
    } else if (++pauses > kMaxPauses) {
      // The holder could not write its id down. It finds the reports nevertheless, or the next start
      // does: their owner does not run any more.
      return;
    } else {
      steps_.pause();
    }
  }
}

}  // namespace wrenfall::reporter
