#include "upload/uploader.h"

#include "report/store/layout.h"
#include "support/digest.h"
#include "support/files.h"
#include "support/json_text.h"
#include "upload/multipart_form.h"
#include "upload/report_archive.h"
#include "upload/service_responses.h"
#include "upload/service_urls.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

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

// The three calls. True when the report was committed.
bool deliver_archive(HttpClient& http, const CrashData& data, const Archive& archive,
                     UploadResult& outcome) {
  const std::string agent = make_user_agent();
  std::string upload_url;
  if (!parse_upload_location_response(
          http.request("POST", build_upload_url_request(data, archive.size),
                       {{"User-Agent", agent}}, ""),
          upload_url, outcome)) {
    return false;
  }
  const HttpHeaders put_headers = {{"User-Agent", agent},
                                   {"Content-Type", "application/zip"},
                                   {"Content-Length", std::to_string(archive.size)}};
  if (!parse_put_response(http.request_file("PUT", upload_url, put_headers, archive.path),
                          outcome)) {
    return false;
  }
  const MultipartForm form = commit_form(data);
  const HttpHeaders commit_headers = {{"User-Agent", agent}, {"Content-Type", form.content_type()}};
  return parse_commit_response(
      http.request("POST", build_commit_url(data, upload_url, archive.md5_hex), commit_headers,
                   form.body()),
      outcome);
}

}  // namespace

UploadResult upload_report(const UploadContext& context, const CrashData& data,
                           const fs::path& folder) {
  UploadResult outcome;
  Archive archive;
  const bool delivered = has_required_fields(data, outcome) &&
                         make_archive(folder, context.logger, archive, outcome) &&
                         deliver_archive(context.http, data, archive, outcome);
  if (!delivered) {
    context.logger.error("Upload failed: %s (http %d)", outcome.error.c_str(), outcome.http_status);
    return outcome;
  }
  context.logger.info("Crash uploaded: crashId=%lld stackKeyId=%lld infoUrl=%s",
                      static_cast<long long>(outcome.crash_id),
                      static_cast<long long>(outcome.stack_key_id), outcome.info_url.c_str());
  remove_file(archive.path);
  return outcome;
}

}  // namespace wrenfall
