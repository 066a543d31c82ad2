#ifndef WRENFALL_API_SENDING_REPORTS_H_
#define WRENFALL_API_SENDING_REPORTS_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "api/state.h"
#include "report/sending.h"

namespace wrenfall {

// Sends as the library does, for the exported functions and its own threads. All of these block for
// uploads.

// Sends one report. A failure is logged to the library's log too, because the folder's own may have
// been deleted with the folder.
SendOutcome send_logged(State& state, SendRequest request);

// Sends what is pending, one report after the other, until the state is no longer published. Throws
// DirectoryIterationError.
void send_pending_reports(State& state);

// Sends the kept reports that are due. Ends at one that was kept again because of the service: the
// others would fail like it. Throws DirectoryIterationError.
struct DueReportsSent {
  bool broke_off = false;
  int64_t retry_after_s = 0;                   // for how long the service then asked to wait
  std::optional<int64_t> next_due;             // of those that were not due, in seconds since 1970
  std::vector<std::filesystem::path> refused;  // due ones that the user has not agreed to send
};
DueReportsSent send_due_reports(State& state);

// Removes reports until the store is within the limits that the host set.
void apply_retention(State& state);

}  // namespace wrenfall

#endif  // WRENFALL_API_SENDING_REPORTS_H_
