#include <wrenfall/wrenfall.h>

#include <cstdlib>

#include "api/boundary.h"
#include "api/sending_reports.h"
#include "api/state.h"
#include "backend/annotation_keys.h"
#include "report/sending.h"
#include "report/store/report_store.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

void log_refusal(NotSent reason, const fs::path& folder, Logger& logger) {
  const std::string name = path_to_utf8(folder);
  if (reason == NotSent::kDamaged) {
    logger.warn("The record of %s is damaged", name.c_str());
  } else if (reason == NotSent::kNoConsent) {
    logger.warn("Report not sent, the user has refused that: %s", name.c_str());
  } else if (reason == NotSent::kUnreadable) {
    logger.warn("The record of %s cannot be read", name.c_str());
  } else {
    logger.warn("%s holds no report", name.c_str());
  }
}

void send_pending(State& state) {
  send_pending_reports(state);
  if (state.configuration.limits.resend) send_due_reports(state);
  apply_retention(state);
}

// The body of the worker thread.
void run_pending_worker() {
  const std::shared_ptr<State> state = current_state();
  if (!state || !state->pending_sender.begin()) return;
  do {
    run_logged(*state, "Sending pending reports", [&state] { send_pending(*state); });
  } while (state->pending_sender.look_again());
}

}  // namespace
}  // namespace wrenfall

using namespace wrenfall;

wrenfall_result wrenfall_capture_report(void) {
  return with_state(WRENFALL_ERROR_HANDLER_START_FAILED,
                    [](State& state) { return state.backend->capture(kReportKindCapture); });
}

wrenfall_result wrenfall_send_report(const char* report_folder, const char* user, const char* email,
                                     const char* description, wrenfall_upload_result* result) {
  return with_state_for_upload(result, [=](State& state) {
    if (is_empty(report_folder)) return not_attempted(WRENFALL_ERROR_INVALID_ARGUMENT);
    SendRequest request;
    request.folder = utf8_to_path(report_folder);
    if (user != nullptr) request.edits.user = user;
    if (email != nullptr) request.edits.email = email;
    if (description != nullptr) request.edits.description = description;
    const SendOutcome outcome = send_logged(state, request);
    apply_retention(state);
    if (outcome.not_sent) log_refusal(*outcome.not_sent, request.folder, state.logger);
    return outcome.upload;
  });
}

wrenfall_result wrenfall_discard_report(const char* report_folder) {
  return with_state(WRENFALL_ERROR_FILE, [=](State& state) -> wrenfall_result {
    if (is_empty(report_folder)) return WRENFALL_ERROR_INVALID_ARGUMENT;
    return discard_report_folder(state.store_dir, utf8_to_path(report_folder))
               ? WRENFALL_OK
               : WRENFALL_ERROR_FILE;
  });
}

wrenfall_result wrenfall_post_pending_reports_async(void) {
  return with_state(WRENFALL_ERROR_FILE, [](State&) -> wrenfall_result {
    start_detached_thread(run_pending_worker);
    return WRENFALL_OK;
  });
}

void wrenfall_upload_result_free(wrenfall_upload_result* result) {
  if (result == nullptr) return;
  std::free(result->info_url);
  result->info_url = nullptr;
}
