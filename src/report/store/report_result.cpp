#include "report/store/report_result.h"

#include <limits>

#include "support/files.h"
#include "support/json_text.h"

namespace wrenfall {

namespace {

// Far beyond any that was ever written; a larger file is not one.
constexpr uint64_t kMaxResultBytes = uint64_t{1} << 20;

void read_text(const nlohmann::json& object, const char* key, std::string& field) {
  const auto member = object.find(key);
  if (member != object.end() && member->is_string()) field = member->get<std::string>();
}

template <typename Number>
void read_number(const nlohmann::json& object, const char* key, Number& field) {
  const auto member = object.find(key);
  if (member == object.end()) return;
  const auto number = json_integer(*member);
  if (!number || *number < std::numeric_limits<Number>::min() ||
      *number > std::numeric_limits<Number>::max()) {
    return;
  }
  field = static_cast<Number>(*number);
}

}  // namespace

ReportResult make_report_result(const UploadResult& upload) {
  ReportResult result;
  result.status = upload.result == WRENFALL_OK               ? "uploaded"
                  : upload.result == WRENFALL_ERROR_REJECTED ? "rejected"
                                                             : "failed";
  result.errorCode = upload.result;
  result.httpStatus = upload.http_status;
  result.crashId = upload.crash_id;
  result.stackKeyId = upload.stack_key_id;
  result.infoUrl = upload.info_url;
  return result;
}

bool write_result(const std::filesystem::path& folder, const ReportResult& result) {
  const nlohmann::json object = {
      {"schemaVersion", result.schemaVersion},
      {"status", result.status},
      {"errorCode", result.errorCode},
      {"httpStatus", result.httpStatus},
      {"crashId", result.crashId},
      {"stackKeyId", result.stackKeyId},
      {"infoUrl", result.infoUrl},
      {"cancelled", result.cancelled},
  };
  return try_write_file_atomic(folder / kResultFile, json_text(object));
}

bool read_result(const std::filesystem::path& folder, ReportResult& result) {
  const std::filesystem::path file = folder / kResultFile;
  std::string text;
  if (size_of_file(file).value_or(kMaxResultBytes + 1) > kMaxResultBytes) return false;
  if (!read_file(file, text)) return false;
  const nlohmann::json object = parse_json(text);
  if (!object.is_object()) return false;
  ReportResult read;
  read_number(object, "schemaVersion", read.schemaVersion);
  read_text(object, "status", read.status);
  read_number(object, "errorCode", read.errorCode);
  read_number(object, "httpStatus", read.httpStatus);
  read_number(object, "crashId", read.crashId);
  read_number(object, "stackKeyId", read.stackKeyId);
  read_text(object, "infoUrl", read.infoUrl);
  const auto cancelled = object.find("cancelled");
  read.cancelled = cancelled != object.end() && cancelled->is_boolean() && cancelled->get<bool>();
  result = std::move(read);
  return true;
}

}  // namespace wrenfall
