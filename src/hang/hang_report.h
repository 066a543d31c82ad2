#ifndef WRENFALL_HANG_HANG_REPORT_H_
#define WRENFALL_HANG_HANG_REPORT_H_

#include <cstdint>
#include <string>

#include "backend/backend.h"
#include "support/logger.h"

namespace wrenfall {

// Takes a dump of kind "hang" of the running process, annotated with the hung thread, the hang's
// length and the policy. Ending the process, where the policy says so, is left to whoever makes a
// report of the dump. Blocks until the dump is written or has failed, which the backend logs; only a
// success is logged here. `logger` may be null.
void capture_hang(Backend& backend, Logger* logger, uint32_t policy, const std::string& thread_name,
                  int64_t duration_ms);

}  // namespace wrenfall

#endif  // WRENFALL_HANG_HANG_REPORT_H_
