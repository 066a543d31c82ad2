#ifndef WRENFALL_REPORT_STORE_REPORT_RESULT_H_
#define WRENFALL_REPORT_STORE_REPORT_RESULT_H_

#include <cstdint>
#include <filesystem>
#include <string>

#include "report/store/upload_result.h"

namespace wrenfall {

// The values of a result's "status".
inline constexpr char kStatusUploaded[] = "uploaded";
inline constexpr char kStatusRejected[] = "rejected";
inline constexpr char kStatusFailed[] = "failed";

// What became of the last attempt to send a report; stored as "result.json" in its folder, one JSON
// member a field. A folder that holds one is not pending any more.
struct ReportResult {
  int32_t schemaVersion = 2;
  std::string status;  // one of those above
  int32_t errorCode = 0;
  int32_t httpStatus = 0;
  int64_t crashId = 0;
  int64_t stackKeyId = 0;
  std::string infoUrl;
  bool cancelled = false;  // the user called the send off
};

// The record of an upload's outcome, not cancelled.
ReportResult make_report_result(const UploadResult& upload);

// Replaces the folder's result record atomically; false when it could not be written.
bool write_result(const std::filesystem::path& folder, const ReportResult& result);

// False, with `result` untouched, when the folder holds no readable result record. Members that are
// missing or of the wrong type stay at their defaults.
bool read_result(const std::filesystem::path& folder, ReportResult& result);

// Whether the report is marked as sent. Its folder is then only left because its deletion was cut off.
bool is_marked_as_sent(const std::filesystem::path& folder);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_REPORT_RESULT_H_
