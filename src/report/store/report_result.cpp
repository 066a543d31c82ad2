#include "report/store/report_result.h"

#include "report/store/json_fields.h"
#include "report/store/layout.h"
#include "support/files.h"
#include "support/json_text.h"

namespace wrenfall {

namespace {

// Far beyond any that was ever written; a larger file is not one.
constexpr uint64_t kMaxResultBytes = uint64_t{1} << 20;

// Calls `visit(key, field)` for each field of the record.
template <typename Record, typename Visit>
void for_each_field(Record& result, Visit visit) {
  visit("schemaVersion", result.schemaVersion);
  visit("status", result.status);
  visit("errorCode", result.errorCode);
  visit("httpStatus", result.httpStatus);
  visit("crashId", result.crashId);
  visit("stackKeyId", result.stackKeyId);
  visit("infoUrl", result.infoUrl);
  visit("cancelled", result.cancelled);
}

}  // namespace

ReportResult make_report_result(const UploadResult& upload) {
  ReportResult result;
  result.status = upload.result == WRENFALL_OK               ? kStatusUploaded
                  : upload.result == WRENFALL_ERROR_REJECTED ? kStatusRejected
                                                             : kStatusFailed;
  result.errorCode = upload.result;
  result.httpStatus = upload.http_status;
  result.crashId = upload.crash_id;
  result.stackKeyId = upload.stack_key_id;
  result.infoUrl = upload.info_url;
  return result;
}

bool write_result(const std::filesystem::path& folder, const ReportResult& result) {
  nlohmann::json object = nlohmann::json::object();
  for_each_field(result, JsonFieldWriter(object));
  return write_file_atomic(folder / kResultFile, json_text(object));
}

bool read_result(const std::filesystem::path& folder, ReportResult& result) {
  const std::filesystem::path file = folder / kResultFile;
  std::string text;
  if (!read_file(file, text, kMaxResultBytes)) return false;
  const nlohmann::json object = parse_json(text);
  if (!object.is_object()) return false;
  ReportResult read;
  for_each_field(read, JsonFieldReader(object));
  result = std::move(read);
  return true;
}

bool is_marked_as_sent(const std::filesystem::path& folder) {
  ReportResult result;
  return read_result(folder, result) && result.status == kStatusUploaded;
}

}  // namespace wrenfall
