#include "report/delivery.h"

#include <new>

#include "report/store/consent.h"
#include "report/store/kept_reports.h"
#include "report/store/layout.h"
#include "report/store/report_result.h"
#include "report/store/report_store.h"
#include "report/store/resend_schedule.h"
#include "report/store/retry_file.h"
#include "report/store/retry_policy.h"
#include "support/clock.h"
#include "support/error_text.h"
#include "support/files.h"
#include "support/process.h"
#include "support/text.h"
#include "upload/uploader.h"

namespace wrenfall {
namespace {

// The outcome of a failure that the uploader does not report itself. Logs it as the uploader would.
UploadResult failed_upload(Logger& logger, wrenfall_result result, int32_t http_status,
                           const char* error) {
  UploadResult outcome;
  outcome.result = result;
  outcome.http_status = http_status;
  outcome.error = error;
  logger.error("Upload failed: %s (http %d)", error, http_status);
  return outcome;
}

// The attempt itself. Throws where the system, not the report or the service, is at fault.
UploadResult upload(HttpClient* http, const std::filesystem::path& folder, const CrashData& record,
                    Logger& logger) {
  if (http == nullptr) {
    return failed_upload(logger, WRENFALL_ERROR_TRANSPORT, 0, "no HTTP client");
  }
  return upload_report({*http, logger}, record, folder);
}

// Clears an owner that has ended, before another process gets its id.
void release_from_dead_owner(const std::filesystem::path& folder, CrashData& record) {
  if (record.ownerPid == 0 || is_process_running(record.ownerPid)) return;
  record.ownerPid = 0;
  try {
    save(folder, record);
  } catch (const std::bad_alloc&) {
    // Its owner does not run all the same.
  }
}

// Makes the report one that the host's next start finds.
void leave_pending(const std::filesystem::path& folder, CrashData& record) {
  remove_file(folder / kResultFile);
  release_from_dead_owner(folder, record);
}

// After an attempt that a person has called off. The report itself is pending even where memory is too
// short to change its retry file.
void leave_cancelled(const std::filesystem::path& folder, CrashData& record) {
  leave_pending(folder, record);
  try {
    forget_agreement(folder);
  } catch (const std::bad_alloc&) {
    // It has no effect while the report is pending.
  }
}

bool stays_pending(Undecided undecided, wrenfall_result result) {
  return undecided == Undecided::kStaysPending &&
         (result == WRENFALL_ERROR_TRANSPORT || result == WRENFALL_ERROR_FILE);
}

// Keeps a report that failed for its next attempt, or deletes it when there were enough.
void keep_for_resend(const std::filesystem::path& folder, CrashData& record,
                     const UploadResult& outcome, bool agreed, Logger& logger) {
  const int64_t now = unix_now();
  const std::string name = path_to_utf8(folder);
  RetryState state =
      after_failed_attempt(read_retry(folder).value_or(RetryState{}), outcome.retry_after_s, now);
  state.agreed |= agreed;
  if (is_given_up(state, now)) {
    logger.info("Report given up after %d attempts in %lld days: %s - deleting", state.attempts,
                static_cast<long long>((now - state.first_attempt) / 86400), name.c_str());
    remove_report_folder(folder);
    return;
  }
  release_from_dead_owner(folder, record);
  // In this order: a report with a result but without the time of its next attempt would never be
  // sent again.
  if (!write_retry(folder, state) || !write_result(folder, make_report_result(outcome))) {
    leave_pending(folder, record);
    return;
  }
  // A refusal during the attempt has left this report to its sender.
  if (read_consent(folder.parent_path()) == WRENFALL_CONSENT_REFUSED) forget_agreement(folder);
  logger.info("Report kept, attempt %d of %d follows in %lld minutes: %s", state.attempts + 1,
              kMaxResendAttempts,
              static_cast<long long>(resend_delay(state, resend_id(folder)) / 60), name.c_str());
}

}  // namespace

UploadResult deliver(HttpClient* http, const std::filesystem::path& folder, CrashData& record,
                     Logger& folder_logger, Logger& retry_logger, const FailureRules& rules) {
  const std::filesystem::path result_file = folder / kResultFile;
  // Before the archive is made, so that half a retry file that a killed process left is replaced. A
  // report that cannot be marked is kept all the same, as pending.
  if (rules.resend) mark_for_resend(folder);
  const bool resend = rules.resend || read_retry(folder).has_value();
  UploadResult outcome;
  bool broken_off = true;
  try {
    outcome = upload(http, folder, record, folder_logger);
    // There is no client where there was no memory for one.
    broken_off = http == nullptr;
  } catch (const std::filesystem::filesystem_error& error) {
    outcome = failed_upload(folder_logger, WRENFALL_ERROR_FILE, 0, error_text(error).c_str());
  } catch (const std::bad_alloc&) {
    outcome = failed_upload(folder_logger, WRENFALL_ERROR_FILE, 0, "out of memory");
  }
  // Writing a result would recreate a folder that another program has just removed.
  if (!is_folder(folder)) return outcome;
  if (outcome.result != WRENFALL_OK && rules.was_cancelled && rules.was_cancelled()) {
    leave_cancelled(folder, record);
    return outcome;
  }
  if (resend && is_worth_resending(outcome)) {
    try {
      keep_for_resend(folder, record, outcome, rules.agreed,
                      rules.resend_logger != nullptr ? *rules.resend_logger : retry_logger);
    } catch (const std::bad_alloc&) {
      // The report is as it was before the attempt, or pending.
    }
    return outcome;
  }
  if (stays_pending(rules.undecided, outcome.result)) {
    leave_pending(folder, record);
    return outcome;
  }
  if (broken_off) return outcome;
  try {
    // Even when the result cannot be written, the retry rule decides.
    write_result(folder, make_report_result(outcome));
    apply_retry_policy(folder, record, outcome.result == WRENFALL_OK, outcome.http_status,
                       retry_logger);
  } catch (const std::bad_alloc&) {
    // The service has the report. With any result it is not pending, and without a retry file it is not
    // sent a second time.
    if (outcome.result == WRENFALL_OK) {
      if (resend) remove_file(folder / kRetryFile);
      append_to_file(result_file, "");
    }
  }
  return outcome;
}

}  // namespace wrenfall
