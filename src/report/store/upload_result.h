#ifndef WRENFALL_REPORT_STORE_UPLOAD_RESULT_H_
#define WRENFALL_REPORT_STORE_UPLOAD_RESULT_H_

#include <wrenfall/wrenfall.h>

#include <cstdint>
#include <string>

namespace wrenfall {

// The status with which the service asks to slow down (RFC 6585).
inline constexpr int32_t kHttpTooManyRequests = 429;

// The outcome of one upload.
struct UploadResult {
  wrenfall_result result = WRENFALL_ERROR_TRANSPORT;
  int32_t http_status = 0;  // the last HTTP status, 0 when no request was answered
  int64_t crash_id = 0;
  int64_t stack_key_id = 0;
  int64_t message_id = 0;
  std::string info_url;
  int64_t retry_after_s = 0;  // for how long the service asks to wait after a failure
  std::string status;         // the service's word in the commit answer
  std::string error;          // what went wrong, empty on success
};

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_UPLOAD_RESULT_H_
