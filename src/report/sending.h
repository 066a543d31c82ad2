#ifndef WRENFALL_REPORT_SENDING_H_
#define WRENFALL_REPORT_SENDING_H_

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "report/delivery.h"
#include "report/store/crash_data.h"
#include "report/store/report_store.h"
#include "report/store/resend_schedule.h"
#include "report/store/upload_result.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall {

// What the sender wants changed in a record before it is sent; nothing leaves the record's own.
struct RecordEdits {
  std::optional<std::string> user;
  std::optional<std::string> email;
  std::optional<std::string> description;
  std::optional<uint64_t> owner_pid;
};

// Why a folder was not sent at all. It is then left as it was.
enum class NotSent {
  kNoFolder,
  kNoReport,    // there is no record in it: it is no report, or still being made
  kDamaged,     // the record is not a JSON object
  kUnreadable,  // the record cannot be opened at present
  kNotWanted,   // its state is no longer the one that the sender asked for
  kNoConsent,   // the user has not agreed to sending
};

struct SendRequest {
  std::filesystem::path folder;
  RecordEdits edits;
  // Asked once the claim is held, because the folder may have changed by then. When empty, every
  // folder is wanted.
  std::function<bool(ReportState state, const CrashData& record)> is_wanted;
  // Whether a person, or the host by its own call, wants just this report sent. Otherwise it stays
  // where the user is to be asked first, unless somebody wanted an earlier attempt.
  bool at_somebodys_word = true;
  // Whose consent counts; empty is the folder that the report lies in.
  std::filesystem::path store;
  // Told once before the call waits for another thread or process that sends or deletes the folder.
  std::function<void()> on_wait;
  // Where the retry rule logs: the folder's own log, which goes with the folder, or the caller's.
  bool retry_rule_logs_to_folder = false;
  FailureRules rules;
};

struct SendOutcome {
  UploadResult upload;              // of a folder that was not sent, the result alone
  std::optional<NotSent> not_sent;  // empty after an attempt
  bool kept = false;                // the folder is still a report
  bool pending = false;             // it is kept, and waits for the host's next start
  std::optional<RetryState> retry;  // it is kept, and is sent again by itself
  int64_t retry_due = 0;            // when that is

  bool was_sent() const { return !not_sent && upload.result == WRENFALL_OK; }
};

// Sends one report folder: waits for the claim to it, applies the edits to the record and writes it
// back, makes one attempt, and applies the rules for what follows. Used by the library, the
// reporter and the store tool alike. Without a client (`http` is null) the result is a transport
// failure. A record that could not be written back is logged to `logger`; the caller logs the
// outcome. Blocks for the upload.
SendOutcome send_folder(HttpClient* http, const SendRequest& request, Logger& logger);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_SENDING_H_
