#include <wrenfall/wrenfall.h>

#include <cstdlib>
#include <thread>

#include "api/boundary.h"
#include "api/state.h"
#include "report/crash_data.h"
#include "report/delivery.h"
#include "report/folder_claim.h"
#include "report/report_result.h"
#include "report/report_store.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

constexpr char kReportKindOnDemand[] = "capture";

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

// Sends a folder to which the caller holds the claim.
UploadResult send_claimed(State& state, const fs::path& folder, const Amendments& amendments) {
  CrashData record;
  if (load(folder, record)) {
    amend(record, amendments);
    if (!save(folder, record)) {
      state.logger.warn("Could not update the record of %s", path_to_utf8(folder).c_str());
    }
  } else if (is_file(folder / kCrashDataFile)) {
    state.logger.warn("The record of %s cannot be read", path_to_utf8(folder).c_str());
  } else {
    // Not a report at all: the retry rule would delete what is somebody else's.
    state.logger.warn("%s holds no report", path_to_utf8(folder).c_str());
    UploadResult outcome;
    outcome.result = WRENFALL_ERROR_INVALID_ARGUMENT;
    return outcome;
  }
  return deliver(make_http_client().get(), folder, record, nullptr);
}

bool is_owned_by_this_process(const fs::path& folder) {
  CrashData record;
  return !load(folder, record) || record.ownerPid == current_process_id();
}

void send_pending(const std::shared_ptr<State>& state) {
  for (const fs::path& folder : pending_report_folders(state->store_dir)) {
    if (peek_state() != state.get()) return;
    const FolderClaim claim(folder);
    // Somebody else may have sent it since it was listed.
    if (path_exists(folder / kResultFile) || is_owned_by_this_process(folder)) continue;
    send_claimed(*state, folder, {});
  }
}

// The body of the worker thread. Whatever left it would end the host.
void run_pending_worker() {
  const std::shared_ptr<State> state = current_state();
  if (!state) return;
  try {
    send_pending(state);
  } catch (const std::exception& error) {
    state->logger.error("Sending pending reports broke off: %s", error.what());
  }
}

}  // namespace
}  // namespace wrenfall

using namespace wrenfall;

wrenfall_result wrenfall_capture_report(void) {
  return guarded(WRENFALL_ERROR_HANDLER_START_FAILED, []() -> wrenfall_result {
    const std::shared_ptr<State> state = current_state();
    if (!state) return WRENFALL_ERROR_NOT_INITIALIZED;
    return state->backend->capture(kReportKindOnDemand);
  });
}

wrenfall_result wrenfall_send_report(const char* report_folder, const char* user, const char* email,
                                     const char* description, wrenfall_upload_result* result) {
  return guarded(WRENFALL_ERROR_FILE, [=]() -> wrenfall_result {
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
  std::thread(run_pending_worker).detach();
  return WRENFALL_OK;
}

void wrenfall_upload_result_free(wrenfall_upload_result* result) {
  if (result == nullptr) return;
  std::free(result->info_url);
  result->info_url = nullptr;
}

const char* wrenfall_log_file_path(void) {
  static std::string& buffer = *new std::string;
  const std::shared_ptr<State> state = current_state();
  if (!state) return nullptr;
  buffer = path_to_utf8(state->logger.path());
  return buffer.c_str();
}
