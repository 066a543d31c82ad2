#ifndef WRENFALL_REPORT_DELIVERY_H_
#define WRENFALL_REPORT_DELIVERY_H_

#include <filesystem>

#include "report/store/crash_data.h"
#include "report/store/upload_result.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall {

// One attempt to send a report folder that the caller has claimed: uploads it, writes the outcome
// into it as its result record, and applies the retry rule, which keeps or deletes the folder.
//
// `record` is the folder's record; the retry rule may raise its retryCount. `http` may be null,
// which is a transport failure. The upload logs to `folder_logger`, the log in the folder itself, so
// that its lines stay with the report and travel with a later attempt; the retry rule logs to
// `retry_logger`, which may be the same. A folder that could not be packed for want of memory or by
// an error of the file system is left as it was, pending: that says nothing about the report. Blocks
// for the upload.
UploadResult deliver(HttpClient* http, const std::filesystem::path& folder, CrashData& record,
                     Logger& folder_logger, Logger& retry_logger);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_DELIVERY_H_
