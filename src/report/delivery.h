#ifndef WRENFALL_REPORT_DELIVERY_H_
#define WRENFALL_REPORT_DELIVERY_H_

#include <wrenfall/wrenfall.h>

#include <filesystem>

#include "report/store/crash_data.h"
#include "report/store/upload_result.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall {

// One attempt to send a report folder: uploads it, writes the outcome into it as its result record,
// and applies the retry rule, which keeps or deletes the folder. The upload logs into the
// "Wrenfall.log" of the folder itself, so that its lines stay with the report and travel with a
// later attempt.
//
// `record` is the folder's record; the retry rule may raise its retryCount. `http` may be null,
// which is a transport failure. The retry rule logs to `retry_logger`, or to the folder's log when
// that is null. A folder that could not be packed for want of memory or by an error of the file
// system is left as it was, pending: that says nothing about the report. Blocks for the upload.
UploadResult deliver(HttpClient* http, const std::filesystem::path& folder, CrashData& record,
                     Logger* retry_logger);

// Whether there is a caller's record, and its size says that it has the fields.
bool can_be_filled(const wrenfall_upload_result* result);

// Fills the caller's record when there is one whose size says that it has the fields.
void fill_upload_result(const UploadResult& upload, wrenfall_upload_result* result);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_DELIVERY_H_
