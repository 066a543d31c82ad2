#include "reporter/owned_report.h"

#include <algorithm>
#include <new>
#include <utility>

#include "report/store/consent.h"
#include "report/store/folder_claim.h"
#include "report/store/kept_reports.h"
#include "report/store/layout.h"
#include "report/store/report_result.h"
#include "report/store/report_store.h"
#include "reporter/field_text.h"
#include "support/files.h"
#include "support/paths.h"
#include "support/process.h"
#include "support/text.h"

namespace wrenfall::reporter {

namespace fs = std::filesystem;

namespace {

// Lack of memory before the attempt says nothing about the report, which then stays pending.
SendOutcome try_send(HttpClient* http, const SendRequest& request, Logger& logger) {
  try {
    return send_folder(http, request, logger);
  } catch (const std::bad_alloc&) {
    SendOutcome outcome;
    outcome.upload.result = WRENFALL_ERROR_FILE;
    outcome.upload.error = "out of memory";
    outcome.kept = true;
    outcome.pending = true;
    return outcome;
  }
}

// Whether nothing sends the folder by itself any more.
bool is_settled(const fs::path& folder) {
  if (!path_exists(folder / kCrashDataFile)) return true;
  return path_exists(folder / kResultFile) && !waiting_retry(folder);
}

}  // namespace

OwnedReport::OwnedReport(fs::path folder, CrashData record, Logger& logger)
    : folder_(std::move(folder)), record_(std::move(record)), logger_(logger) {
  record_.ownerPid = current_process_id();
  write();
}

OwnedReport::OwnedReport(OwnedReport&& other) noexcept
    : folder_(std::exchange(other.folder_, {})),
      record_(std::move(other.record_)),
      logger_(other.logger_) {}

OwnedReport::~OwnedReport() { give_back(); }

std::optional<OwnedReport> OwnedReport::take(const fs::path& folder, Logger& logger,
                                             bool only_pending) {
  // While the host is sending the folder, wait: it may be gone afterwards.
  const FolderClaim claim(folder);
  CrashData record;
  if (is_own_folder(folder) || !load(folder, record)) return std::nullopt;
  if (is_marked_as_sent(folder)) return std::nullopt;
  if (only_pending && path_exists(folder / kResultFile) && !lacks_agreement(folder)) {
    return std::nullopt;
  }
  return OwnedReport(folder, std::move(record), logger);
}

bool OwnedReport::write() {
  if (save(folder_, record_)) return true;
  logger_.warn("Report record not written: %s", path_to_utf8(folder_).c_str());
  return false;
}

OwnedReport::Saved OwnedReport::save_answers(const std::string& email,
                                             const std::string& description) {
  const auto claim = FolderClaim::try_take(folder_);
  if (!claim) return Saved::kFailed;
  // Look first whether the folder is gone: saving would create it again.
  CrashData stored;
  if (!load(folder_, stored))
    return path_exists(folder_ / kCrashDataFile) ? Saved::kFailed : Saved::kGone;
  record_ = std::move(stored);
  record_.ownerPid = current_process_id();
  record_.email = cut_utf8(email, kMaxEmailBytes);
  record_.userDescription = cut_utf8(description, kMaxDescriptionBytes);
  return write() ? Saved::kYes : Saved::kFailed;
}

bool OwnedReport::leave_out(const std::vector<std::string>& names) {
  if (names.empty()) return true;
  const auto claim = FolderClaim::try_take(folder_);
  if (!claim) return false;
  // As above, and another process may have written it since.
  CrashData stored;
  if (!load(folder_, stored)) return !path_exists(folder_ / kCrashDataFile);
  record_ = std::move(stored);
  record_.ownerPid = current_process_id();
  bool all = true;
  for (const std::string& name : names) {
    const fs::path file = folder_ / utf8_to_path(name);
    if (!remove_file(file)) {
      all = false;
      continue;
    }
    const auto listed = std::find(record_.attachments.begin(), record_.attachments.end(), name);
    if (listed != record_.attachments.end()) record_.attachments.erase(listed);
    logger_.info("Left out by the user: %s", path_to_utf8(file).c_str());
  }
  return write() && all;
}

bool OwnedReport::is_sent_by_itself() const {
  return may_send(read_consent(folder_.parent_path()), false);
}

void OwnedReport::keep_consent() {
  if (write_consent(folder_.parent_path(), WRENFALL_CONSENT_GIVEN)) {
    logger_.info("The user wants reports to be sent without being asked");
  } else {
    logger_.error("Could not write the user's consent");
  }
}

SendOutcome OwnedReport::send(HttpClient* http, bool at_somebodys_word,
                              const std::function<bool()>& was_cancelled) {
  SendRequest request;
  request.folder = folder_;
  request.edits.owner_pid = current_process_id();
  request.rules.undecided = Undecided::kStaysPending;
  request.rules.was_cancelled = was_cancelled;
  request.at_somebodys_word = at_somebodys_word;
  SendOutcome outcome = try_send(http, request, logger_);
  const std::string name = path_to_utf8(folder_);
  if (outcome.not_sent == NotSent::kUnreadable || outcome.not_sent == NotSent::kDamaged) {
    logger_.warn("Report not sent: the record of %s cannot be read", name.c_str());
  } else if (outcome.not_sent == NotSent::kNoConsent) {
    log_no_consent(folder_, logger_);
  } else if (outcome.not_sent) {
    logger_.warn("Report not sent: %s is not there any more", name.c_str());
  } else if (outcome.upload.result == WRENFALL_OK) {
    logger_.info("Report sent: %s (crash %lld)", name.c_str(),
                 static_cast<long long>(outcome.upload.crash_id));
  } else {
    logger_.error("Report not sent: %s: %s (http %d)", name.c_str(), outcome.upload.error.c_str(),
                  outcome.upload.http_status);
  }
  return outcome;
}

OwnedReport::Discarded OwnedReport::try_discard() const {
  // Claiming a folder that does not exist would create a claim file in the store for a moment.
  if (!path_exists(folder_)) return Discarded::kGone;
  const auto claim = FolderClaim::try_take(folder_);
  if (!claim) return Discarded::kHeld;
  if (discard_claimed_report(plain_path(folder_))) return Discarded::kYes;
  return is_settled(folder_) ? Discarded::kPartly : Discarded::kUnmarked;
}

OwnedReport::Discarded OwnedReport::discard() {
  const Discarded discarded = try_discard();
  if (discarded == Discarded::kYes) {
    logger_.info("Report discarded by the user: %s", path_to_utf8(folder_).c_str());
  } else {
    logger_.error("Report not discarded: %s", path_to_utf8(folder_).c_str());
  }
  return discarded;
}

void OwnedReport::give_back() {
  if (folder_.empty()) return;
  // Take the claim first: saving without it could create a folder again that another process has
  // just deleted. Where another process holds the claim, the owner can stay in the record: it does not
  // count once this process has ended.
  try {
    const auto claim = FolderClaim::try_take(folder_);
    if (claim && load(folder_, record_)) {
      record_.ownerPid = 0;
      write();
    }
  } catch (const std::bad_alloc&) {
    // The owner stays in the record, as above.
  }
  folder_.clear();
}

}  // namespace wrenfall::reporter
