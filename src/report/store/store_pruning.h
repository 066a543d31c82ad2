#ifndef WRENFALL_REPORT_STORE_STORE_PRUNING_H_
#define WRENFALL_REPORT_STORE_STORE_PRUNING_H_

#include <cstdint>
#include <filesystem>
#include <functional>

#include "report/store/retention.h"
#include "support/logger.h"

namespace wrenfall {

// Applies the limits of a store to what lies in it. Several processes may do so at a time, and each may
// be killed at any moment: a report is claimed first, and what is left of one is not pending and goes
// the next time.
struct PruneRequest {
  std::filesystem::path store;
  RetentionLimits limits;
  uint64_t run = 0;      // the process whose run this is; 0 for none
  bool dry_run = false;  // only say what would go
  // Told of what goes, or would go; both may be empty.
  RemoveReport on_removed;  // of each report; its answer does not count
  std::function<void(const std::filesystem::path& entry, int64_t age_s)> on_leftover;
};

// Removes reports and, with a limit of age, leftovers: dumps and session files of the handler, folders
// that never became reports, temporary files. Never removes a report that a process holds or owns (the
// reporter that shows it, for example), that is of the request's run or of a running process of the
// store. Logs one INFO line for each that goes. Throws DirectoryIterationError.
void prune_store(const PruneRequest& request, Logger& logger);

// The same without exceptions: a failure is logged.
void try_prune_store(const PruneRequest& request, Logger& logger);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_STORE_PRUNING_H_
