#include "report/store/retry_policy.h"

#include <limits>

#include "report/store/report_store.h"
#include "support/text.h"

namespace wrenfall {
namespace {

bool is_transient(int32_t http_status) {
  return http_status == 500 || http_status == 502 || http_status == 503 || http_status == 504;
}

}  // namespace

void apply_retry_policy(const std::filesystem::path& folder, CrashData& record, bool delete_now,
                        int32_t http_status, Logger& logger) {
  const std::string name = path_to_utf8(folder);
  if (!delete_now && is_transient(http_status)) {
    // A record from elsewhere may hold any number.
    if (record.retryCount < std::numeric_limits<int32_t>::max()) ++record.retryCount;
    if (record.retryCount < kMaxRetries) {
      save(folder, record);
      logger.info("Incremented retry count to %d for %s", record.retryCount, name.c_str());
      return;
    }
    logger.info("Report exceeded max retries (%d/%d): %s - deleting", record.retryCount,
                kMaxRetries, name.c_str());
  } else if (!delete_now) {
    logger.info("Permanent HTTP error %d - deleting report folder: %s", http_status, name.c_str());
  }
  remove_report_folder(folder);
}

}  // namespace wrenfall
