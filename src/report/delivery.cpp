#include "report/delivery.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <nlohmann/json.hpp>

#include "report/store/report_result.h"
#include "report/store/retry_policy.h"
#include "support/files.h"
#include "support/paths.h"
#include "upload/uploader.h"

namespace wrenfall {
namespace {

constexpr int32_t kHttpOk = 200;

// The outcome of a step that the uploader itself does not report.
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
  try {
    return upload_report({*http, &logger}, record, folder);
  } catch (const nlohmann::json::type_error& error) {
    // Only an id in the answer to the commit is read in a way that raises this, and that answer
    // came with status 200.
    return failed_upload(logger, WRENFALL_ERROR_SERVICE, kHttpOk, error.what());
  }
}

// A copy that the host frees with free(); null for the empty text and when there is no memory.
char* copy_for_host(const std::string& text) {
  if (text.empty()) return nullptr;
  char* const copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy != nullptr) std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

}  // namespace

UploadResult deliver(HttpClient* http, const std::filesystem::path& folder, CrashData& record,
                     Logger* retry_logger) {
  Logger folder_logger(folder / kLogFile);
  UploadResult outcome;
  try {
    outcome = upload(http, folder, record, folder_logger);
  } catch (const std::filesystem::filesystem_error& error) {
    return failed_upload(folder_logger, WRENFALL_ERROR_FILE, 0, error.what());
  } catch (const std::bad_alloc&) {
    return failed_upload(folder_logger, WRENFALL_ERROR_FILE, 0, "out of memory");
  }
  // Writing a result would make anew what somebody has removed meanwhile.
  if (!is_folder(folder)) return outcome;
  // Where the result cannot be written, the retry rule still decides.
  write_result(folder, make_report_result(outcome));
  apply_retry_policy(folder, &record, outcome.result == WRENFALL_OK, outcome.http_status,
                     retry_logger == nullptr ? &folder_logger : retry_logger);
  return outcome;
}

bool can_be_filled(const wrenfall_upload_result* result) {
  return result != nullptr && result->size >= sizeof(wrenfall_upload_result);
}

void fill_upload_result(const UploadResult& upload, wrenfall_upload_result* result) {
  if (!can_be_filled(result)) return;
  result->result = upload.result;
  result->http_status = upload.http_status;
  result->crash_id = upload.crash_id;
  result->stack_key_id = upload.stack_key_id;
  result->info_url = copy_for_host(upload.info_url);
}

}  // namespace wrenfall
