#include "upload/uploader.h"

#include <new>

#include "report/store/layout.h"
#include "support/clock.h"
#include "support/digest.h"
#include "support/files.h"
#include "support/json_text.h"
#include "upload/multipart_form.h"
#include "upload/report_archive.h"
#include "upload/retry_after.h"
#include "upload/service_responses.h"
#include "upload/service_urls.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

constexpr int32_t kHttpOk = 200;

struct Archive {
  fs::path path;
  uint64_t size = 0;
  std::string md5_hex;
};

bool has_required_fields(const CrashData& data, UploadResult& outcome) {
  if (!data.database.empty() && !data.appVersion.empty() && !data.appName.empty() &&
      !data.crashTypeId.empty()) {
    return true;
  }
  outcome.result = WRENFALL_ERROR_INVALID_ARGUMENT;
  outcome.error = "database, appName, appVersion and crashTypeId are required";
  return false;
}

bool make_archive(const fs::path& folder, Logger& logger, Archive& archive, UploadResult& outcome) {
  archive.path = folder / kArchiveFile;
  outcome.result = WRENFALL_ERROR_FILE;
  if (!write_report_archive(folder, archive.path, logger)) {
    outcome.error = "could not create the report zip";
    return false;
  }
  archive.size = size_of_file(archive.path).value_or(0);
  if (archive.size == 0) {
    outcome.error = "report zip is empty";
    return false;
  }
  archive.md5_hex = md5_file_hex(archive.path);
  if (archive.md5_hex.empty()) {
    outcome.error = "could not read the report zip";
    return false;
  }
  return true;
}

MultipartForm commit_form(const CrashData& data) {
  MultipartForm form = MultipartForm::create();
  form.add("appKey", data.key);
  form.add("user", data.user);
  form.add("email", data.email);
  form.add("description", data.userDescription);
  form.add("notes", data.notes);
  form.add("attributes", data.attributes.empty() ? "" : json_text(data.attributes));
  form.add("environment", data.environment);
  form.add("crashSignature", data.crashSignature);
  form.add("crashHash", data.crashSignatureHash);
  return form;
}

// Of a request that failed for lack of memory nothing is known that the retry rule could judge.
HttpResponse checked(HttpResponse response) {
  if (response.out_of_memory && response.result != WRENFALL_OK) throw std::bad_alloc();
  return response;
}

// Keeps for how long the answer asks to wait. What a later call answers takes its place.
const HttpResponse& take_retry_after(const HttpResponse& response, UploadResult& outcome) {
  outcome.retry_after_s = parse_retry_after(response.retry_after, unix_now());
  return response;
}

bool locate(HttpClient& http, const CrashData& data, const Archive& archive,
            std::string& upload_url, UploadResult& outcome) {
  const HttpResponse response =
      checked(http.request("POST", build_upload_url_request(data, archive.size),
                           {{"User-Agent", make_user_agent()}}, ""));
  if (response.out_of_memory) throw std::bad_alloc();
  return parse_upload_location_response(take_retry_after(response, outcome), upload_url, outcome);
}

bool put(HttpClient& http, const Archive& archive, const std::string& upload_url,
         UploadResult& outcome) {
  const HttpHeaders headers = {{"User-Agent", make_user_agent()},
                               {"Content-Type", "application/zip"},
                               {"Content-Length", std::to_string(archive.size)}};
  const HttpResponse response =
      checked(http.request_file("PUT", upload_url, headers, archive.path));
  return parse_put_response(take_retry_after(response, outcome), outcome);
}

bool commit(HttpClient& http, const CrashData& data, const Archive& archive,
            const std::string& upload_url, UploadResult& outcome) {
  const MultipartForm form = commit_form(data);
  const HttpHeaders headers = {{"User-Agent", make_user_agent()},
                               {"Content-Type", form.content_type()}};
  const HttpResponse response = checked(http.request(
      "POST", build_commit_url(data, upload_url, archive.md5_hex), headers, form.body()));
  try {
    if (response.out_of_memory) throw std::bad_alloc();
    return parse_commit_response(take_retry_after(response, outcome), outcome);
  } catch (const std::bad_alloc&) {
    if (response.status != kHttpOk) throw;
    // The service has taken the report. Another attempt would send it a second time, so this counts
    // as an answer that cannot be used.
    outcome = {};
    outcome.result = WRENFALL_ERROR_SERVICE;
    outcome.http_status = response.status;
    outcome.error = "out of memory";
    return false;
  }
}

// The three calls. True when the report was committed.
bool deliver_archive(HttpClient& http, const CrashData& data, const Archive& archive,
                     UploadResult& outcome) {
  std::string upload_url;
  return locate(http, data, archive, upload_url, outcome) &&
         put(http, archive, upload_url, outcome) &&
         commit(http, data, archive, upload_url, outcome);
}

void log_outcome(const UploadResult& outcome, Logger& logger) {
  if (outcome.result == WRENFALL_OK) {
    logger.info("Crash uploaded: crashId=%lld stackKeyId=%lld infoUrl=%s",
                static_cast<long long>(outcome.crash_id),
                static_cast<long long>(outcome.stack_key_id), outcome.info_url.c_str());
  } else {
    logger.error("Upload failed: %s (http %d)", outcome.error.c_str(), outcome.http_status);
  }
}

}  // namespace

UploadResult upload_report(const UploadContext& context, const CrashData& data,
                           const fs::path& folder) {
  UploadResult outcome;
  Archive archive;
  const bool delivered = has_required_fields(data, outcome) &&
                         make_archive(folder, context.logger, archive, outcome) &&
                         deliver_archive(context.http, data, archive, outcome);
  try {
    log_outcome(outcome, context.logger);
  } catch (const std::bad_alloc&) {
    // What has become of the report matters more than the line about it.
  }
  if (delivered) remove_file(archive.path);
  return outcome;
}

}  // namespace wrenfall
