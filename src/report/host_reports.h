#ifndef WRENFALL_REPORT_HOST_REPORTS_H_
#define WRENFALL_REPORT_HOST_REPORTS_H_

#include <wrenfall/wrenfall.h>

#include <filesystem>
#include <string>
#include <vector>

#include "report/posting.h"
#include "report/report_facts.h"
#include "report/structured_report.h"

namespace wrenfall {

// Reports of the host's own making. Each of the functions makes a new folder in the store, writes
// the report's main file into it, copies attachments there (one that cannot be copied costs a
// warning), and posts the folder. Blocks for an upload.
//
// The result is that of the post, or WRENFALL_ERROR_FILE when the main file could not be written;
// then no folder stays behind. `result` may be null.
struct HostReportContext {
  PostingContext posting;
  std::filesystem::path store_dir;
};

// With a crash signature, made from the crashing thread, where `with_signature` says so.
wrenfall_result post_structured_report(const HostReportContext& context, const ReportFacts& facts,
                                       const StructuredReport& report, bool with_signature,
                                       wrenfall_upload_result* result);

wrenfall_result post_feedback(const HostReportContext& context, const ReportFacts& facts,
                              const std::string& title, const std::string& description,
                              const std::vector<std::string>& attachments,
                              wrenfall_upload_result* result);

// The text of an AddressSanitizer report, as it was printed.
wrenfall_result post_asan_report(const HostReportContext& context, const ReportFacts& facts,
                                 const std::string& text, wrenfall_upload_result* result);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_HOST_REPORTS_H_
