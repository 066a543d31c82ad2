#ifndef WRENFALL_REPORT_STORE_KEPT_REPORTS_H_
#define WRENFALL_REPORT_STORE_KEPT_REPORTS_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "report/store/crash_data.h"
#include "report/store/resend_schedule.h"

namespace wrenfall {

// The retry state of a report that failed and was kept, and waits for its next attempt. Nothing for
// every other folder: one that is pending, was sent, or was discarded.
std::optional<RetryState> waiting_retry(const std::filesystem::path& folder);

// Whether a report is kept to be sent again, but nobody has agreed to that. While the user is to be
// asked, no program sends it by itself.
bool lacks_agreement(const std::filesystem::path& folder);

// To be called by who holds the claim.
void forget_agreement(const std::filesystem::path& folder);

// The same for every report of the store but those that are being sent; their senders look at the consent
// after a failure. Throws DirectoryIterationError.
void forget_agreements(const std::filesystem::path& store);

// Whether a running process other than this one works on the report, as its record says.
bool has_other_owner(const CrashData& record);

struct KeptReports {
  std::vector<std::filesystem::path> due;  // at `now`, the oldest report first
  std::optional<int64_t> next_due;         // when the next of the others is
};

// Throws DirectoryIterationError.
KeptReports kept_reports(const std::filesystem::path& store, int64_t now);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_KEPT_REPORTS_H_
