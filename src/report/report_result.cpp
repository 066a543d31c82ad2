#include "report/report_result.h"

#include "support/files.h"
#include "support/json_text.h"

namespace wrenfall {

ReportResult make_report_result(const UploadResult& upload) {
  ReportResult result;
  result.status = upload.result == WRENFALL_OK               ? "uploaded"
                  : upload.result == WRENFALL_ERROR_REJECTED ? "rejected"
                                                             : "failed";
  result.errorCode = upload.result;
  result.httpStatus = upload.httpStatus;
  result.crashId = upload.crashId;
  result.stackKeyId = upload.stackKeyId;
  result.infoUrl = upload.infoUrl;
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

}  // namespace wrenfall
