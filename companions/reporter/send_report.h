#ifndef WRENFALL_COMPANIONS_REPORTER_SEND_REPORT_H_
#define WRENFALL_COMPANIONS_REPORTER_SEND_REPORT_H_

#include <wrenfall/wrenfall.h>

#include <filesystem>

#include "report/crash_data.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall {

// Takes the report over, whoever had it, and makes one attempt to send it without asking. When the
// folder is kept for another attempt it is nobody's again afterwards. `http` may be null, which is
// a transport failure. `logger` is the store's: what it is told outlives the folder. Blocks for the
// upload. Throws filesystem_error when a file of the folder cannot be removed; the report is
// nobody's then as well.
wrenfall_result send_report(HttpClient* http, const std::filesystem::path& folder, CrashData record,
                            Logger& logger);

}  // namespace wrenfall

#endif  // WRENFALL_COMPANIONS_REPORTER_SEND_REPORT_H_
