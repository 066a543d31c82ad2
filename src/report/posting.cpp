#include "report/posting.h"

#include <new>

#include "backend/platform_facts.h"
#include "backend/startup_annotations.h"
#include "report/delivery.h"
#include "report/store/folder_claim.h"
#include "support/clock.h"
#include "support/files.h"
#include "support/process.h"
#include "support/text.h"
#include "support/version.h"

namespace wrenfall {
namespace {

// Without memory it is as if the record could not be written.
bool try_save(const std::filesystem::path& folder, const CrashData& record) {
  try {
    return save(folder, record);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// Leaves the folder to whoever finds it pending.
UploadResult store_folder(const PostingContext& context, const std::filesystem::path& folder,
                          CrashData& record) {
  UploadResult outcome;
  outcome.result = WRENFALL_OK;
  record.ownerPid = 0;
  if (try_save(folder, record)) return outcome;
  // Without a record nobody would ever find the report; the host, which still has its contents, is
  // told.
  if (context.logger != nullptr) {
    context.logger->error("Could not write the record of %s", path_to_utf8(folder).c_str());
  }
  remove_folder(folder);
  outcome.result = WRENFALL_ERROR_FILE;
  return outcome;
}

}  // namespace

CrashData make_record(const ReportFacts& facts, const std::string& report_kind,
                      const std::string& crash_type_id) {
  CrashData record;
  record.database = facts.database;
  record.appName = facts.application;
  record.appVersion = facts.version;
  record.crashTypeId = crash_type_id;
  record.key = facts.key;
  record.user = facts.user;
  record.email = facts.email;
  record.userDescription = facts.user_description;
  record.notes = facts.notes;
  record.environment = facts.environment;
  record.attributes.insert(facts.attributes.begin(), facts.attributes.end());
  record.captureBackend = facts.capture_backend;
  record.reportKind = report_kind;
  record.crashTime = utc_timestamp();
  record.uploadPolicy =
      upload_policy_text(facts.quiet ? uint32_t{WRENFALL_UPLOAD_QUIET} : facts.upload_policy);
  record.openSupportUrl = facts.open_support_url;
  record.themeDir = facts.theme_dir;
  record.sdkVersion = WRENFALL_VERSION_TEXT;
  record.ownerPid = current_process_id();
  record.processId = current_process_id();
  const PlatformFacts platform = query_platform_facts();
  record.platform = platform.family;
  record.arch = platform.architecture;
  record.osVersion = describe(platform);
  return record;
}

wrenfall_result post_folder(const PostingContext& context, const std::filesystem::path& folder,
                            CrashData& record, wrenfall_upload_result* result) {
  if (context.upload_policy == WRENFALL_UPLOAD_MANUAL) {
    const UploadResult stored = store_folder(context, folder, record);
    fill_upload_result(stored, result);
    return stored.result;
  }
  // Saved first, so that a report whose sender is ended is found pending; claimed, so that nobody
  // who finds it meanwhile sends it too. Without a record it can still be sent from here.
  const FolderClaim claim(folder);
  if (!try_save(folder, record) && context.logger != nullptr) {
    context.logger->warn("Could not write the record of %s", path_to_utf8(folder).c_str());
  }
  const UploadResult outcome = deliver(context.http, folder, record, context.logger);
  fill_upload_result(outcome, result);
  return outcome.result;
}

}  // namespace wrenfall
