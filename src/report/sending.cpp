#include "report/sending.h"

#include <utility>

#include "report/store/consent.h"
#include "report/store/folder_claim.h"
#include "report/store/kept_reports.h"
#include "report/store/layout.h"
#include "report/store/retry_file.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

FolderClaim wait_for_claim(const SendRequest& request) {
  auto claim = FolderClaim::try_take(request.folder);
  if (claim) return std::move(*claim);
  if (request.on_wait) request.on_wait();
  return FolderClaim(request.folder);
}

// Empty when the record was loaded.
std::optional<NotSent> load_record(const fs::path& folder, CrashData& record) {
  switch (read_record(folder, record)) {
    case RecordState::kLoaded:
      return std::nullopt;
    case RecordState::kDamaged:
      return NotSent::kDamaged;
    case RecordState::kUnreadable:
      return NotSent::kUnreadable;
    default:
      return is_folder(folder) ? NotSent::kNoReport : NotSent::kNoFolder;
  }
}

wrenfall_result result_of(NotSent reason) {
  switch (reason) {
    case NotSent::kUnreadable:
      return WRENFALL_ERROR_FILE;
    case NotSent::kNotWanted:
      return WRENFALL_OK;
    case NotSent::kNoConsent:
      return WRENFALL_ERROR_NO_CONSENT;
    default:
      return WRENFALL_ERROR_INVALID_ARGUMENT;
  }
}

SendOutcome refuse(const fs::path& folder, NotSent reason) {
  SendOutcome outcome;
  outcome.upload.result = result_of(reason);
  outcome.not_sent = reason;
  outcome.kept = path_exists(folder / kCrashDataFile);
  return outcome;
}

// Asks the store that the report lies in, and that of the sender when it is another one. Who agreed to
// an earlier attempt is not asked again.
bool has_consent(const SendRequest& request) {
  const bool at_somebodys_word =
      request.at_somebodys_word || waiting_retry(request.folder).value_or(RetryState{}).agreed;
  const auto allows = [&](const fs::path& store) {
    return may_send(read_consent(store), at_somebodys_word);
  };
  return allows(request.folder.parent_path()) && (request.store.empty() || allows(request.store));
}

void apply(const RecordEdits& edits, CrashData& record) {
  if (edits.user) record.user = *edits.user;
  if (edits.email) record.email = *edits.email;
  if (edits.description) record.userDescription = *edits.description;
  if (edits.owner_pid) record.ownerPid = *edits.owner_pid;
}

}  // namespace

SendOutcome send_folder(HttpClient* http, const SendRequest& request, Logger& logger) {
  const fs::path& folder = request.folder;
  // Claiming a folder that does not exist would create a claim file in the store for a moment.
  if (!is_folder(folder)) return refuse(folder, NotSent::kNoFolder);
  if (is_own_folder(folder)) return refuse(folder, NotSent::kNoReport);
  const FolderClaim claim = wait_for_claim(request);
  CrashData record;
  // A folder without a usable record is left alone. The retry rule would delete it, although it may
  // not be a report, its record may only be in use, or its dump may be good.
  if (const auto reason = load_record(folder, record)) return refuse(folder, *reason);
  if (request.is_wanted && !request.is_wanted(state_of_report(folder, record.ownerPid), record)) {
    return refuse(folder, NotSent::kNotWanted);
  }
  if (!has_consent(request)) {
    // Whoever refuses takes back an earlier agreement.
    if (read_consent(folder.parent_path()) == WRENFALL_CONSENT_REFUSED) forget_agreement(folder);
    return refuse(folder, NotSent::kNoConsent);
  }
  apply(request.edits, record);
  if (!save(folder, record)) {
    logger.warn("Could not update the record of %s", path_to_utf8(folder).c_str());
  }
  Logger folder_logger(folder / kLogFile);
  FailureRules rules = request.rules;
  rules.resend_logger = &logger;
  rules.agreed = request.at_somebodys_word;
  SendOutcome outcome;
  outcome.upload = deliver(http, folder, record, folder_logger,
                           request.retry_rule_logs_to_folder ? folder_logger : logger, rules);
  outcome.kept = path_exists(folder / kCrashDataFile);
  outcome.pending = outcome.kept && !path_exists(folder / kResultFile);
  if (outcome.kept) outcome.retry = waiting_retry(folder);
  if (outcome.retry) outcome.retry_due = due_time(*outcome.retry, resend_id(folder));
  return outcome;
}

}  // namespace wrenfall
