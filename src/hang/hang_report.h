#ifndef WRENFALL_HANG_HANG_REPORT_H_
#define WRENFALL_HANG_HANG_REPORT_H_

#include <cstdint>

#include "backend/backend.h"
#include "hang/hang_tracker.h"
#include "support/logger.h"

namespace wrenfall {

// Takes a dump of kind "hang" of the running process, annotated with the hung thread, the hang's
// length and the policy. The monitor, which makes the report, ends the process when the policy says
// so. Blocks until the dump is written or has failed. A success is logged here; the backend logs
// failures.
void capture_hang(Backend& backend, Logger& logger, uint32_t policy, const Hang& hang);

}  // namespace wrenfall

#endif  // WRENFALL_HANG_HANG_REPORT_H_
