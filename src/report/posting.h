#ifndef WRENFALL_REPORT_POSTING_H_
#define WRENFALL_REPORT_POSTING_H_

#include <wrenfall/wrenfall.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "backend/breadcrumb_layout.h"
#include "report/store/crash_data.h"
#include "report/store/store_limits.h"
#include "report/store/upload_result.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall {

// What is needed to post a host-made report.
struct PostingContext {
  std::filesystem::path store_dir;
  uint32_t upload_policy;  // as the library was started
  HttpClient* http;        // null is a transport failure
  Logger& logger;          // the library's
  StoreLimits limits;
  std::vector<Breadcrumb> breadcrumbs;  // at the call
};

// A record for a host-made report, with the facts of this moment. Its dump fields stay at their
// defaults.
CrashData make_record(const CrashData& facts, const std::string& report_kind,
                      const std::string& crash_type_id);

// Posts a report folder that is complete except for its record. With policy "manual" the record is
// saved without an owner, and the report waits as pending; the result is then WRENFALL_OK. When it
// cannot be saved the folder is removed again, and the result is WRENFALL_ERROR_FILE. While the user
// refuses, the same is done with any policy, and the result is WRENFALL_ERROR_NO_CONSENT. Otherwise the
// record is saved, owned by this process, and the folder is sent at once; the retry rule logs to
// the library's log. Blocks for an upload.
UploadResult post_folder(const PostingContext& context, const std::filesystem::path& folder,
                         CrashData& record);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_POSTING_H_
