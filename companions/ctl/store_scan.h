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

// How a report folder stands, in the tool's own words:
//   pending     waits to be sent
//   owned       another living process works on it, the record's owner
//   sending     somebody sends or deletes it at this moment
//   failed, rejected, uploaded, cancelled   there was an attempt, and the folder is still there
//   damaged     its record cannot be read
//   incomplete  it has no record: it is still being made, or was never finished
struct ReportSummary {
  std::filesystem::path folder;
  std::string state;
  std::string kind;
  std::string time;  // UTC, ISO 8601, empty when the record does not tell
  std::string application;
  std::string version;
  std::string upload_policy;
  int32_t retry_count = 0;
  uint64_t owner_pid = 0;
  uint64_t size = 0;  // of its files together, in bytes
  std::optional<ReportResult> result;
};

// One report folder. Its record is read into `record`; nothing is read of its other files. Nothing
// when there is no such folder (any more).
std::optional<ReportSummary> summarize_report(const std::filesystem::path& folder,
                                              std::optional<CrashData>& record);

// The reports of a store, the one with the oldest record first, then the folders without a record.
// Nothing when the store cannot be opened. Throws DirectoryIterationError.
std::optional<std::vector<ReportSummary>> scan_store(const std::filesystem::path& store);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_STORE_SCAN_H_
