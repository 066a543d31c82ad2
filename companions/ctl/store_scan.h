#ifndef WRENFALL_COMPANIONS_CTL_STORE_SCAN_H_
#define WRENFALL_COMPANIONS_CTL_STORE_SCAN_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "report/store/crash_data.h"
#include "report/store/report_result.h"
#include "report/store/resend_schedule.h"

namespace wrenfall::ctl {

// A report folder. Its state is one of
//   pending     waits to be sent
//   owned       another running process works on it, the record's owner
//   sending     a process is sending or deleting it
//   waiting     it could not be delivered, and is sent again by itself
//   failed, rejected, uploaded, cancelled   there was an attempt, and the folder is still there
//   damaged     its record cannot be read
//   incomplete  it has no record: it is still being made, or was never finished
struct ReportSummary {
  std::filesystem::path folder;
  std::string state;
  std::optional<CrashData> record;  // empty when it is damaged or incomplete
  std::string time;                 // the crash's or of the record; ISO 8601, "" without either
  uint64_t size = 0;                // of all its files, in bytes
  std::optional<ReportResult> result;
  std::optional<RetryState> retry;  // of one that is waiting

  // Of a readable one: those that failed.
  int32_t attempts() const { return retry ? retry->attempts : record->retryCount; }
  // The state as people read it: "waits until 2026-01-31 23:59, attempt 3 of 30".
  std::string state_text() const;
};

// Reads a report folder's record and result; of the other files only the sizes. Empty when there is
// no such report.
std::optional<ReportSummary> summarize_report(const std::filesystem::path& folder);

// The reports of a store, the oldest crash first, then the folders without a record.
// Empty when the store cannot be opened. Throws DirectoryIterationError.
std::optional<std::vector<ReportSummary>> scan_store(const std::filesystem::path& store);

// The report of the newest crash in a store, if there is any. Throws DirectoryIterationError.
std::optional<std::filesystem::path> newest_report(const std::filesystem::path& store);

// "waits until 2026-01-31 23:59, attempt 3 of 30".
std::string waiting_text(const RetryState& retry, const std::filesystem::path& folder);

struct StoreSummary {
  std::filesystem::path store;
  size_t reports = 0;
  uint64_t size = 0;  // of the reports, in bytes
};

// The stores directly in a folder, in the order of their names. Throws DirectoryIterationError.
std::vector<StoreSummary> find_stores(const std::filesystem::path& folder);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_STORE_SCAN_H_
