#include "report/store/kept_reports.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "report/store/folder_claim.h"
#include "report/store/report_result.h"
#include "report/store/report_store.h"
#include "report/store/resend_schedule.h"
#include "report/store/retry_file.h"
#include "report/store/upload_result.h"
#include "support/process.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// A dialog holds a claim for a moment only; a sender holds it for much longer.
constexpr std::chrono::milliseconds kPatience(100);

}  // namespace

std::optional<RetryState> waiting_retry(const fs::path& folder) {
  const auto state = read_retry(folder);
  if (!state || state->attempts <= 0) return std::nullopt;
  ReportResult result;
  if (!read_result(folder, result) || result.cancelled) return std::nullopt;
  // Any other outcome deletes the report; this one may only be left of it.
  UploadResult last;
  last.result = result.errorCode;
  last.http_status = result.httpStatus;
  if (!is_worth_resending(last)) return std::nullopt;
  return state;
}

bool lacks_agreement(const fs::path& folder) {
  const auto state = waiting_retry(folder);
  return state && !state->agreed;
}

void forget_agreement(const fs::path& folder) {
  auto state = read_retry(folder);
  if (!state || !state->agreed) return;
  state->agreed = false;
  write_retry(folder, *state);
}

void forget_agreements(const fs::path& store) {
  for (const fs::path& folder : list_report_folders(store)) {
    if (!waiting_retry(folder)) continue;
    const auto claim = FolderClaim::take_until(folder, AwakeClock::now() + kPatience);
    if (claim) forget_agreement(folder);
  }
}

bool has_other_owner(const CrashData& record) {
  return record.ownerPid != 0 && record.ownerPid != current_process_id() &&
         is_process_running(record.ownerPid);
}

KeptReports kept_reports(const fs::path& store, int64_t now) {
  KeptReports kept;
  for (fs::path& folder : list_report_folders(store)) {
    const auto state = waiting_retry(folder);
    if (!state) continue;
    const std::string id = resend_id(folder);
    if (is_due(*state, id, now)) {
      kept.due.push_back(std::move(folder));
    } else {
      const int64_t due = due_time(*state, id);
      kept.next_due = std::min(kept.next_due.value_or(due), due);
    }
  }
  return kept;
}

}  // namespace wrenfall
