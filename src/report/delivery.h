#ifndef WRENFALL_REPORT_DELIVERY_H_
#define WRENFALL_REPORT_DELIVERY_H_

#include <filesystem>
#include <functional>

#include "report/store/crash_data.h"
#include "report/store/upload_result.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall {

// What becomes of a report when an attempt ends without a verdict of the service: it could not be
// reached, a file could not be read, or memory was short.
enum class Undecided {
  kRetryRule,    // the retry rule deletes it: the library's own two ways of sending
  kStaysPending  // it waits for the host's next start: the reporter and wrenfallctl
};

// What becomes of a report that was not delivered.
struct FailureRules {
  Undecided undecided = Undecided::kRetryRule;
  // Whether the report is kept, and sent again later, after every failure that need not last. This
  // goes before all other rules. A report with a retry file is kept so in any case: the host that made
  // it asked for that.
  bool resend = false;
  // Whether a person, or the host by its own call, wants the report sent. A report that is kept keeps
  // that too, so that its later attempts need no other word.
  bool agreed = false;
  // Asked when an attempt has failed: whether a person has called it off. Then the report is pending
  // whatever the failure was, the attempt does not count, and no earlier agreement does. Empty is no.
  std::function<bool()> was_cancelled;
  // Where lines about resending go; null is where the retry rule logs.
  Logger* resend_logger = nullptr;
};

// Makes one attempt to send a report folder that the caller has claimed: uploads it, writes the
// outcome into it as its result record, and applies the rules, which keep or delete the folder.
//
// `record` is the folder's record; the retry rule may raise its retryCount. Without a client
// (`http` is null) the result is a transport failure. The upload logs to `folder_logger`, the log
// in the folder itself, so that its lines stay with the report and travel with a later attempt; the
// retry rule logs to `retry_logger`, which may be the same. When packing the folder fails for lack
// of memory or by a file-system error, the report is not at fault: the folder stays as it was,
// pending. Where `undecided` lets the report stay pending, the result of an earlier attempt is
// removed, and so is an owner that no longer runs.
//
// A report that is to be resent gets, after a failure that need not last, the time of its next attempt
// in its retry file, and a result; after too many it is deleted. Where the retry file cannot be
// written, on a full disk for example, the report stays pending. Blocks for the upload.
UploadResult deliver(HttpClient* http, const std::filesystem::path& folder, CrashData& record,
                     Logger& folder_logger, Logger& retry_logger, const FailureRules& rules = {});

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_DELIVERY_H_
