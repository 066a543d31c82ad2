#ifndef WRENFALL_REPORT_STORE_RETENTION_H_
#define WRENFALL_REPORT_STORE_RETENTION_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace wrenfall {

// How much a store keeps; 0 is no limit.
struct RetentionLimits {
  uint32_t max_reports = 0;
  uint32_t max_age_days = 0;
  uint64_t max_bytes = 0;

  bool any() const { return max_reports != 0 || max_age_days != 0 || max_bytes != 0; }
};

// A report folder with a record, whatever its state.
struct StoredReport {
  std::filesystem::path folder;
  int64_t age_s = 0;   // since it was made; one from the future was made at this moment
  uint64_t bytes = 0;  // on disk
};

enum class RetentionReason { kAge, kNumber, kBytes };

// "older than 30 days", "more than 100 reports", "more than 524288000 bytes".
std::string describe(RetentionReason reason, const RetentionLimits& limits);

// Removes the report; false when it must not or cannot be removed.
using RemoveReport = std::function<bool(const StoredReport&, RetentionReason)>;

// Chooses what to remove, the oldest first, until what is left is within all limits. A report that
// cannot be removed stays, is counted, and the next one is chosen instead.
void choose_for_removal(std::vector<StoredReport> reports, const RetentionLimits& limits,
                        const RemoveReport& remove);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_RETENTION_H_
