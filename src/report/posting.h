#ifndef WRENFALL_REPORT_POSTING_H_
#define WRENFALL_REPORT_POSTING_H_

#include <wrenfall/wrenfall.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "report/report_facts.h"
#include "report/store/crash_data.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall {

// How the host wants reports of its own making treated, and the means to do it.
struct PostingContext {
  uint32_t upload_policy = WRENFALL_UPLOAD_DIALOG;  // as the library was started
  HttpClient* http = nullptr;                       // null is a transport failure
  Logger* logger = nullptr;                         // the library's; may be null
};

// A record for a report of the host's own making, with the facts of this moment. Its dump fields
// stay at their defaults.
CrashData make_record(const ReportFacts& facts, const std::string& report_kind,
                      const std::string& crash_type_id);

// Posts a folder that holds all of a report but its record. With policy "manual" the record is
// saved, owned by nobody, and the report waits as pending; `result` is then all zero. When it
// cannot be saved the folder is removed again, and the result is WRENFALL_ERROR_FILE. Otherwise the
// record is saved, owned by this process, and the folder is sent at once, like an exported send
// does, but the retry rule logs to the library's log. Blocks for an upload.
wrenfall_result post_folder(const PostingContext& context, const std::filesystem::path& folder,
                            CrashData& record, wrenfall_upload_result* result);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_POSTING_H_
