#include "report/store/retention.h"

#include <algorithm>
#include <optional>

namespace wrenfall {
namespace {

constexpr int64_t kSecondsPerDay = 86400;

// What is left of the store.
struct Left {
  size_t reports = 0;
  uint64_t bytes = 0;
};

std::optional<RetentionReason> exceeded(const RetentionLimits& limits, const StoredReport& oldest,
                                        const Left& left) {
  if (limits.max_age_days != 0 && oldest.age_s > limits.max_age_days * kSecondsPerDay) {
    return RetentionReason::kAge;
  }
  if (limits.max_reports != 0 && left.reports > limits.max_reports) return RetentionReason::kNumber;
  if (limits.max_bytes != 0 && left.bytes > limits.max_bytes) return RetentionReason::kBytes;
  return std::nullopt;
}

}  // namespace

std::string describe(RetentionReason reason, const RetentionLimits& limits) {
  switch (reason) {
    case RetentionReason::kAge:
      return "older than " + std::to_string(limits.max_age_days) + " days";
    case RetentionReason::kNumber:
      return "more than " + std::to_string(limits.max_reports) + " reports";
    default:
      return "more than " + std::to_string(limits.max_bytes) + " bytes";
  }
}

void choose_for_removal(std::vector<StoredReport> reports, const RetentionLimits& limits,
                        const RemoveReport& remove) {
  std::stable_sort(reports.begin(), reports.end(),
                   [](const StoredReport& a, const StoredReport& b) { return a.age_s > b.age_s; });
  Left left;
  left.reports = reports.size();
  for (const StoredReport& report : reports) left.bytes += report.bytes;
  for (const StoredReport& report : reports) {
    const auto reason = exceeded(limits, report, left);
    // Those that follow are no older.
    if (!reason) return;
    if (!remove(report, *reason)) continue;
    --left.reports;
    left.bytes -= report.bytes;
  }
}

}  // namespace wrenfall
