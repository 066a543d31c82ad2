#ifndef WRENFALL_REPORT_HOST_REPORTS_H_
#define WRENFALL_REPORT_HOST_REPORTS_H_

#include <string>
#include <vector>

#include "report/posting.h"
#include "report/structured_report.h"

namespace wrenfall {

// Host-made reports. Each of the functions makes a new folder in the store, writes the report's main
// file into it, copies attachments there (one that cannot be copied costs a warning), and posts the
// folder. Blocks for an upload.
//
// The result is that of the post, or WRENFALL_ERROR_FILE when the main file could not be written;
// then no folder stays behind. Where there are more reports than the limit allows, nothing is made, and
// the result is WRENFALL_ERROR_LIMIT_REACHED; feedback is never limited. Nor is anything made while the
// user refuses and the host wants nothing made then; the result is WRENFALL_ERROR_NO_CONSENT.

// With a crash signature, made from the crashing thread, where `with_signature` says so.
UploadResult post_structured_report(const PostingContext& context, const CrashData& facts,
                                    const StructuredReport& report, bool with_signature);

UploadResult post_feedback(const PostingContext& context, const CrashData& facts,
                           const std::string& title, const std::string& description,
                           const std::vector<std::string>& attachments);

// The text of an AddressSanitizer report, as it was printed.
UploadResult post_asan_report(const PostingContext& context, const CrashData& facts,
                              const std::string& text);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_HOST_REPORTS_H_
