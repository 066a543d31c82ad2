#include "api/sending_reports.h"

#include <exception>
#include <utility>

#include "report/store/consent.h"
#include "report/store/kept_reports.h"
#include "report/store/report_store.h"
#include "report/store/retry_file.h"
#include "report/store/store_pruning.h"
#include "support/clock.h"
#include "support/error_text.h"
#include "support/text.h"
#include "upload/http_client.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

void send_one_pending(State& state, const fs::path& folder) {
  SendRequest request;
  request.folder = folder;
  request.at_somebodys_word = false;
  request.is_wanted = [&state](ReportState report_state, const CrashData& record) {
    // While this thread waited for the claim, another process may have sent the folder, or the host
    // may have shut the library down.
    return state.is_published() && report_state == ReportState::kPending &&
           record.ownerPid != current_process_id();
  };
  const SendOutcome outcome = send_logged(state, std::move(request));
  if (outcome.not_sent == NotSent::kNoConsent) log_no_consent(folder, state.logger);
}

// Whether a report may be sent again now. Asked under the claim: another thread or process may just
// have sent it.
bool is_still_due(const State& state, const fs::path& folder, const CrashData& record) {
  const auto retry = waiting_retry(folder);
  return state.is_published() && !has_other_owner(record) && retry &&
         is_due(*retry, resend_id(folder), unix_now());
}

SendOutcome send_one_due(State& state, const fs::path& folder) {
  SendRequest request;
  request.folder = folder;
  request.at_somebodys_word = false;
  request.is_wanted = [&](ReportState, const CrashData& record) {
    return is_still_due(state, folder, record);
  };
  return send_logged(state, std::move(request));
}

void log_broken_off(State& state, const fs::path& folder, const std::exception& error) {
  state.logger.error("Sending %s broke off: %s", path_to_utf8(folder).c_str(),
                     error_text(error).c_str());
}

}  // namespace

SendOutcome send_logged(State& state, SendRequest request) {
  request.retry_rule_logs_to_folder = true;
  request.store = state.store_dir;
  request.rules.resend = state.configuration.limits.resend;
  SendOutcome outcome = send_folder(make_http_client().get(), request, state.logger);
  // The folder's own log may have been deleted with the folder, so a failure is logged here too.
  if (!outcome.not_sent && outcome.upload.result != WRENFALL_OK) {
    state.logger.error("Report not sent: %s: %s (http %d)", path_to_utf8(request.folder).c_str(),
                       outcome.upload.error.c_str(), outcome.upload.http_status);
  }
  return outcome;
}

void send_pending_reports(State& state) {
  for (const fs::path& folder : state.pending_reports.list()) {
    if (!state.is_published()) return;
    try {
      send_one_pending(state, folder);
    } catch (const std::exception& error) {
      log_broken_off(state, folder, error);
    }
  }
}

DueReportsSent send_due_reports(State& state) {
  const KeptReports kept = kept_reports(state.store_dir, unix_now());
  DueReportsSent sent;
  sent.next_due = kept.next_due;
  for (const fs::path& folder : kept.due) {
    if (!state.is_published()) return sent;
    try {
      const SendOutcome outcome = send_one_due(state, folder);
      sent.broke_off = outcome.retry && outcome.upload.result != WRENFALL_ERROR_FILE;
      sent.retry_after_s = outcome.upload.retry_after_s;
      if (outcome.not_sent == NotSent::kNoConsent) sent.refused.push_back(folder);
    } catch (const std::exception& error) {
      log_broken_off(state, folder, error);
    }
    if (sent.broke_off) return sent;
  }
  return sent;
}

void apply_retention(State& state) {
  const RetentionLimits& limits = state.configuration.limits.retention;
  if (!limits.any()) return;
  PruneRequest request;
  request.store = state.store_dir;
  request.limits = limits;
  request.run = current_process_id();
  try_prune_store(request, state.logger);
}

}  // namespace wrenfall
