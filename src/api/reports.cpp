#include <wrenfall/wrenfall.h>

#include <cstdlib>
#include <new>
#include <thread>

#include "api/boundary.h"
#include "api/state.h"
#include "backend/annotation_keys.h"
#include "report/delivery.h"
#include "report/store/crash_data.h"
#include "report/store/folder_claim.h"
#include "report/store/report_result.h"
#include "report/store/report_store.h"
#include "support/files.h"
#include "support/paths.h"
#include "support/text.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

// What the host wants changed in a report before it is sent; null leaves the report's own.
struct Amendments {
  const char* user = nullptr;
  const char* email = nullptr;
  const char* description = nullptr;
};

void amend(CrashData& record, const Amendments& amendments) {
  if (amendments.user != nullptr) record.user = amendments.user;
  if (amendments.email != nullptr) record.email = amendments.email;
  if (amendments.description != nullptr) record.userDescription = amendments.description;
}

// WRENFALL_OK, or why the folder cannot be sent.
wrenfall_result load_for_sending(Logger& logger, const fs::path& folder, CrashData& record) {
  const std::string name = path_to_utf8(folder);
  // Read once: a record that is being replaced must not pass for a damaged one.
  if (std::string text; read_file(folder / kCrashDataFile, text)) {
    if (parse(text, record)) return WRENFALL_OK;
    logger.warn("The record of %s is damaged", name.c_str());
    return WRENFALL_ERROR_INVALID_ARGUMENT;
  }
  if (is_file(folder / kCrashDataFile)) {
    logger.warn("The record of %s cannot be read", name.c_str());
    return WRENFALL_ERROR_FILE;
  }
  logger.warn("%s holds no report", name.c_str());
  return WRENFALL_ERROR_INVALID_ARGUMENT;
}

// Sends a folder to which the caller holds the claim. One without a record that can be used is left
// as it is: the retry rule would delete what is not a report at all, a report whose record somebody
// holds just now, or a dump that may be good.
UploadResult send_claimed(State& state, const fs::path& folder, const Amendments& amendments) {
  CrashData record;
  UploadResult refusal;
  refusal.result = load_for_sending(state.logger, folder, record);
  if (refusal.result != WRENFALL_OK) return refusal;
  amend(record, amendments);
  if (!save(folder, record)) {
    state.logger.warn("Could not update the record of %s", path_to_utf8(folder).c_str());
  }
  UploadResult outcome = deliver(make_http_client().get(), folder, record, nullptr);
  // The folder's own log may be gone with it.
  if (outcome.result != WRENFALL_OK) {
    state.logger.error("Report not sent: %s: %s (http %d)", path_to_utf8(folder).c_str(),
                       outcome.error.c_str(), outcome.http_status);
  }
  return outcome;
}

bool is_owned_by_this_process(const fs::path& folder) {
  CrashData record;
  return !load(folder, record) || record.ownerPid == current_process_id();
}

void send_one_pending(State& state, const fs::path& folder) {
  const FolderClaim claim(folder);
  // While this waited somebody may have sent the folder, or shut the library down.
  if (peek_state() != &state) return;
  if (path_exists(folder / kResultFile) || is_owned_by_this_process(folder)) return;
  send_claimed(state, folder, {});
}

void send_pending(const std::shared_ptr<State>& state) {
  for (const fs::path& folder : pending_report_folders(state->store_dir)) {
    if (peek_state() != state.get()) return;
    try {
      send_one_pending(*state, folder);
    } catch (const std::exception& error) {
      state->logger.error("Sending %s broke off: %s", path_to_utf8(folder).c_str(), error.what());
    }
  }
}

// The body of the worker thread. Whatever left it would end the host.
void run_pending_worker() {
  const std::shared_ptr<State> state = current_state();
  if (!state) return;
  try {
    send_pending(state);
  } catch (const std::exception& error) {
    try {
      state->logger.error("Sending pending reports broke off: %s", error.what());
    } catch (const std::bad_alloc&) {
      // There is no memory for the line either.
    }
  }
}

}  // namespace
}  // namespace wrenfall

using namespace wrenfall;

wrenfall_result wrenfall_capture_report(void) {
  return guarded(WRENFALL_ERROR_HANDLER_START_FAILED, []() -> wrenfall_result {
    const std::shared_ptr<State> state = current_state();
    if (!state) return WRENFALL_ERROR_NOT_INITIALIZED;
    return state->backend->capture(kReportKindCapture);
  });
}

wrenfall_result wrenfall_send_report(const char* report_folder, const char* user, const char* email,
                                     const char* description, wrenfall_upload_result* result) {
  return guarded_upload(result, [=]() -> wrenfall_result {
    const std::shared_ptr<State> state = current_state();
    if (!state) return WRENFALL_ERROR_NOT_INITIALIZED;
    if (report_folder == nullptr || *report_folder == '\0') {
      return WRENFALL_ERROR_INVALID_ARGUMENT;
    }
    const fs::path folder = utf8_to_path(report_folder);
    const FolderClaim claim(folder);
    const UploadResult outcome = send_claimed(*state, folder, {user, email, description});
    fill_upload_result(outcome, result);
    return outcome.result;
  });
}

wrenfall_result wrenfall_discard_report(const char* report_folder) {
  return guarded(WRENFALL_ERROR_FILE, [=]() -> wrenfall_result {
    const std::shared_ptr<State> state = current_state();
    if (!state) return WRENFALL_ERROR_NOT_INITIALIZED;
    if (report_folder == nullptr || *report_folder == '\0') {
      return WRENFALL_ERROR_INVALID_ARGUMENT;
    }
    return discard_report_folder(state->store_dir, utf8_to_path(report_folder))
               ? WRENFALL_OK
               : WRENFALL_ERROR_FILE;
  });
}

wrenfall_result wrenfall_post_pending_reports_async(void) {
  if (peek_state() == nullptr) return WRENFALL_ERROR_NOT_INITIALIZED;
  return guarded(WRENFALL_ERROR_FILE, []() -> wrenfall_result {
    std::thread(run_pending_worker).detach();
    return WRENFALL_OK;
  });
}

void wrenfall_upload_result_free(wrenfall_upload_result* result) {
  if (result == nullptr) return;
  std::free(result->info_url);
  result->info_url = nullptr;
}

const char* wrenfall_log_file_path(void) {
  static std::string& buffer = *new std::string;
  const bool known = guarded(WRENFALL_ERROR_FILE, []() -> wrenfall_result {
                       const std::shared_ptr<State> state = current_state();
                       if (!state) return WRENFALL_ERROR_NOT_INITIALIZED;
                       // Not asked of the logger, whose lock the caller holds when it is the
                       // logging callback.
                       buffer = path_to_utf8(state->store_dir / kLogFile);
                       return WRENFALL_OK;
                     }) == WRENFALL_OK;
  return known ? buffer.c_str() : nullptr;
}
