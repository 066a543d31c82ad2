#include "report/posting.h"

#include <new>

#include "report/delivery.h"
#include "report/fact_annotations.h"
#include "report/store/consent.h"
#include "report/store/folder_claim.h"
#include "report/store/layout.h"
#include "support/clock.h"
#include "support/files.h"
#include "support/process.h"
#include "support/text.h"

namespace wrenfall {
namespace {

// Lack of memory counts as a record that could not be written.
bool try_save(const std::filesystem::path& folder, const CrashData& record) {
  try {
    return save(folder, record);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// Leaves the folder as a pending report.
UploadResult store_folder(const PostingContext& context, const std::filesystem::path& folder,
                          CrashData& record) {
  UploadResult outcome;
  outcome.result = WRENFALL_OK;
  record.ownerPid = 0;
  if (try_save(folder, record)) return outcome;
  // Without a record the report would never be found. The host still has its contents, and gets the result.
  context.logger.error("Could not write the record of %s", path_to_utf8(folder).c_str());
  remove_folder(folder);
  outcome.result = WRENFALL_ERROR_FILE;
  return outcome;
}

}  // namespace

CrashData make_record(const CrashData& facts, const std::string& report_kind,
                      const std::string& crash_type_id) {
  CrashData record = facts;
  record.crashTypeId = crash_type_id;
  record.dumpType.clear();
  record.reportKind = report_kind;
  record.crashTime = utc_timestamp();
  record.ownerPid = current_process_id();
  record.processId = current_process_id();
  set_platform(query_platform_facts(), record);
  return record;
}

UploadResult post_folder(const PostingContext& context, const std::filesystem::path& folder,
                         CrashData& record) {
  if (context.upload_policy == WRENFALL_UPLOAD_MANUAL) return store_folder(context, folder, record);
  if (!may_send(read_consent(context.store_dir), true)) {
    UploadResult outcome = store_folder(context, folder, record);
    if (outcome.result != WRENFALL_OK) return outcome;
    log_no_consent(folder, context.logger);
    outcome.result = WRENFALL_ERROR_NO_CONSENT;
    return outcome;
  }
  // Hold the claim, so that no process that finds the report meanwhile sends it too. Save the
  // record first: if this process ends during the upload, the next start finds the report pending.
  // A report whose record cannot be saved is still sent from here.
  const FolderClaim claim(folder);
  if (!try_save(folder, record)) {
    context.logger.warn("Could not write the record of %s", path_to_utf8(folder).c_str());
  }
  Logger folder_logger(folder / kLogFile);
  FailureRules rules;
  rules.resend = context.limits.resend;
  rules.agreed = true;
  return deliver(context.http, folder, record, folder_logger, context.logger, rules);
}

}  // namespace wrenfall
