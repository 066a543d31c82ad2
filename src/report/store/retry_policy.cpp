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

bool apply_retry_policy(const std::filesystem::path& folder, CrashData* record, bool delete_now,
                        int32_t http_status, Logger& logger, int32_t max_retries) {
  const std::string name = path_to_utf8(folder);
  if (!delete_now && is_transient(http_status)) {
    const int32_t count = record == nullptr ? 0 : record->retryCount;
    // A record from elsewhere may hold any number.
    const int32_t next = count == std::numeric_limits<int32_t>::max() ? count : count + 1;
    if (next < max_retries) {
      if (record != nullptr) {
        record->retryCount = next;
        save(folder, *record);
        logger.info("Incremented retry count to %d for %s", next, name.c_str());
      }
      return false;
    }
    logger.info("Report exceeded max retries (%d/%d): %s - deleting", next, max_retries,
                name.c_str());
  } else if (!delete_now) {
    logger.info("Permanent HTTP error %d - deleting report folder: %s", http_status, name.c_str());
  }
  remove_report_folder(folder);
  return true;
}

}  // namespace wrenfall
