#ifndef WRENFALL_COMPANIONS_CTL_STORE_SCAN_H_
#define WRENFALL_COMPANIONS_CTL_STORE_SCAN_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "report/store/crash_data.h"
#include "report/store/report_result.h"

namespace wrenfall::ctl {

// A report folder. Its state is one of
//   pending     waits to be sent
//   owned       another running process works on it, the record's owner
//   sending     a process is sending or deleting it
//   failed, rejected, uploaded, cancelled   there was an attempt, and the folder is still there
//   damaged     its record cannot be read
//   incomplete  it has no record: it is still being made, or was never finished
struct ReportSummary {
  std::filesystem::path folder;
  std::string state;
  std::optional<CrashData> record;  // empty when it is damaged or incomplete
  uint64_t size = 0;                // of all its files, in bytes
  std::optional<ReportResult> result;
};

// Reads a report folder's record and result; of the other files only the sizes. Empty when there is
// no such report.
std::optional<ReportSummary> summarize_report(const std::filesystem::path& folder);

// The reports of a store, the one with the oldest record first, then the folders without a record.
// Empty when the store cannot be opened. Throws DirectoryIterationError.
std::optional<std::vector<ReportSummary>> scan_store(const std::filesystem::path& store);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_STORE_SCAN_H_
