#ifndef WRENFALL_REPORT_STORE_REPORT_LIMIT_H_
#define WRENFALL_REPORT_STORE_REPORT_LIMIT_H_

#include <cstdint>
#include <filesystem>
#include <vector>

#include "report/store/crash_data.h"

namespace wrenfall {

// At most `count` reports in any `seconds`: against programs that crash at every start. No limit when
// either is 0.
struct ReportLimit {
  uint32_t count = 0;
  uint32_t seconds = 0;

  bool any() const { return count != 0 && seconds != 0; }
};

// A larger count is taken for this one: each report that counts is a number in the store's file.
inline constexpr uint32_t kMaxReportLimit = 1000;

// What is counted, over all runs of all programs of a store.
struct ReportCounts {
  std::vector<int64_t> made;  // when each was made, in seconds since 1970, the oldest first
  uint64_t dropped = 0;       // since the last report that told how many were
};

// Whether one more report may be made at `now`. It is then noted in `counts`; otherwise it is counted
// as dropped. A time in the future, of a clock that was set back since, counts as this moment.
bool admit(ReportCounts& counts, const ReportLimit& limit, int64_t now);

struct Admission {
  bool admitted = true;
  uint64_t dropped_before = 0;  // how many were dropped, for the admitted report alone to tell of
};

// The same for the counts in the store's file "reportLimit.json". Processes take turns. Where the file
// cannot be read or written, it stays as it is and the report is admitted: a report is worth more than
// the limit.
Admission admit_report(const std::filesystem::path& store, const ReportLimit& limit);

// Says in a record how many were dropped before it, if any were.
void note_dropped(uint64_t dropped, CrashData& record);

// Leaves it to the next report to tell of them: the admitted one could not be made.
void give_back_dropped(const std::filesystem::path& store, uint64_t dropped);

// The attribute by which the next report says how many were dropped before it.
inline constexpr char kDroppedAttribute[] = "wrenfall.dropped";

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_REPORT_LIMIT_H_
