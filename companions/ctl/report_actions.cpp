#include "ctl/report_actions.h"

#include <optional>

#include "ctl/store_scan.h"
#include "report/store/crash_data.h"
#include "report/store/folder_claim.h"
#include "report/store/kept_reports.h"
#include "report/store/layout.h"
#include "report/store/pending_reports.h"
#include "report/store/report_store.h"
#include "report/store/retry_file.h"
#include "support/clock.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall::ctl {

namespace fs = std::filesystem;

namespace {

constexpr char kNoSuchReport[] = "there is no such report";

ActionOutcome refused(const fs::path& folder, wrenfall_result result, const char* error) {
  ActionOutcome outcome;
  outcome.folder = folder;
  outcome.kept = is_folder(folder);
  outcome.upload.result = result;
  outcome.upload.error = error;
  return outcome;
}

const char* reason_text(NotSent reason) {
  switch (reason) {
    case NotSent::kNoFolder:
      return kNoSuchReport;
    case NotSent::kNoReport:
      return "the folder holds no report";
    case NotSent::kDamaged:
      return "the record is damaged";
    case NotSent::kUnreadable:
      return "the record cannot be opened";
    case NotSent::kNoConsent:
      return "the user has refused that reports are sent";
    default:
      return "";
  }
}

const char* advice_after_refusal(NotSent reason) {
  switch (reason) {
    case NotSent::kNoFolder:
      return "Nothing was sent. Look at the names that \"list\" gives.";
    case NotSent::kNoReport:
      return "Nothing was sent, and the folder is kept. It may be a report that is still being "
             "made.";
    case NotSent::kDamaged:
      return "Nothing was sent, and the folder is kept. A report whose record is damaged can only "
             "be "
             "discarded.";
    case NotSent::kNoConsent:
      return "Nothing was sent, and the report is kept. Only the application can ask the user "
             "again.";
    case NotSent::kUnreadable:
      return "Nothing was sent, and the folder is kept. Try again when no other program works on "
             "it.";
    default:
      return "";
  }
}

// Whether the report was kept for another attempt, which is wanted.
bool is_waiting(const fs::path& folder, Wanted wanted) {
  const auto retry = waiting_retry(folder);
  return retry && (wanted == Wanted::kNow || is_due(*retry, resend_id(folder), unix_now()));
}

void log_outcome(const ActionOutcome& outcome, Logger& logger) {
  const std::string name = path_to_utf8(outcome.folder);
  if (outcome.upload.result == WRENFALL_OK) {
    logger.info("Report sent by hand: %s (crash %lld)", name.c_str(),
                static_cast<long long>(outcome.upload.crash_id));
  } else {
    logger.error("Report not sent by hand: %s: %s (http %d)", name.c_str(),
                 outcome.upload.error.c_str(), outcome.upload.http_status);
  }
}

}  // namespace

std::vector<fs::path> reports_to_send(const fs::path& store, Wanted wanted) {
  std::vector<fs::path> folders = PendingReports(store).list();
  for (fs::path& folder : list_report_folders(store)) {
    if (is_waiting(folder, wanted)) folders.push_back(std::move(folder));
  }
  return folders;
}

ActionOutcome send_report(HttpClient* http, const fs::path& folder, Wanted wanted,
                          const std::function<void()>& waiting, Logger& logger) {
  SendRequest request;
  request.folder = folder;
  request.on_wait = waiting;
  request.rules.undecided = Undecided::kStaysPending;
  if (wanted != Wanted::kEvery) {
    request.is_wanted = [&](ReportState state, const CrashData& record) {
      return state == ReportState::kPending ||
             (is_waiting(folder, wanted) && !has_other_owner(record));
    };
  }
  ActionOutcome outcome{send_folder(http, request, logger), folder};
  outcome.kept = is_folder(folder);
  if (outcome.not_sent) {
    outcome.upload.error = reason_text(*outcome.not_sent);
    outcome.wanted = wanted == Wanted::kEvery || outcome.not_sent == NotSent::kNoConsent;
  } else {
    log_outcome(outcome, logger);
  }
  return outcome;
}

ActionOutcome discard_folder(const fs::path& store, const fs::path& folder) {
  if (!is_folder(folder)) return refused(folder, WRENFALL_ERROR_INVALID_ARGUMENT, kNoSuchReport);
  const bool claimed = path_exists(claim_file(folder));
  if (discard_report_folder(store, folder)) {
    ActionOutcome outcome;
    outcome.folder = folder;
    outcome.upload.result = WRENFALL_OK;
    return outcome;
  }
  const char* const reason =
      claimed ? "another process is sending or deleting it; try again later"
      : !is_file(folder / kCrashDataFile)
          ? "it holds no report, or not all of it could be deleted"
          : "a file could not be deleted: close the programs that use it and try again";
  return refused(folder, WRENFALL_ERROR_FILE, reason);
}

std::string advice_after_send(const ActionOutcome& outcome) {
  if (outcome.not_sent) return advice_after_refusal(*outcome.not_sent);
  if (outcome.pending) {
    return std::string("The report is kept and still pending. ") +
           (outcome.upload.result == WRENFALL_ERROR_TRANSPORT
                ? "Check the network, the proxy and the service's certificate."
                : "Close the programs that use its files, or make room on the disk.");
  }
  if (outcome.retry) {
    return "The report is kept: it " + waiting_text(*outcome.retry, outcome.folder) +
           ". The application sends it by itself while it runs; \"send --all --now\" does so at "
           "once.";
  }
  if (outcome.kept) {
    return "The report is kept. Send it again later by its name: it is not pending any more, so "
           "\"send --all\" leaves it out.";
  }
  const std::string advice = "The report was deleted";
  switch (outcome.upload.result) {
    case WRENFALL_ERROR_REJECTED:
      return advice + (outcome.upload.http_status == kHttpTooManyRequests
                           ? ". The service wants fewer reports: wait before sending others."
                           : ". The service does not want it: check that it knows the database, "
                             "the application and the version.");
    case WRENFALL_ERROR_SERVICE:
      return advice +
             ": the answer was final, or it was the third attempt. The service's "
             "operator can say more.";
    case WRENFALL_ERROR_INVALID_ARGUMENT:
      return advice + ": its record lacks what the service requires.";
    default:
      return advice + ".";
  }
}

}  // namespace wrenfall::ctl
