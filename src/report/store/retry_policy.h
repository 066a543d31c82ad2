#ifndef WRENFALL_REPORT_STORE_RETRY_POLICY_H_
#define WRENFALL_REPORT_STORE_RETRY_POLICY_H_

#include <cstdint>
#include <filesystem>

#include "report/store/crash_data.h"
#include "support/logger.h"

namespace wrenfall {

inline constexpr int32_t kMaxRetries = 3;

// Decides after a send whether the report's folder is kept for another attempt. HTTP 500, 502, 503
// and 504 are transient: the folder is kept, with its retryCount raised in `record` and in the
// folder, until the attempt that would make it kMaxRetries. Every other status, 0 included, is
// permanent: the folder is deleted, as it is when `delete_now` says that the send succeeded.
void apply_retry_policy(const std::filesystem::path& folder, CrashData& record, bool delete_now,
                        int32_t http_status, Logger& logger);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_RETRY_POLICY_H_
