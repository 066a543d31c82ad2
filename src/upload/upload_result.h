#ifndef WRENFALL_UPLOAD_UPLOAD_RESULT_H_
#define WRENFALL_UPLOAD_UPLOAD_RESULT_H_

#include <wrenfall/wrenfall.h>

#include <cstdint>
#include <string>

namespace wrenfall {

// The outcome of one upload.
struct UploadResult {
  wrenfall_result result = WRENFALL_ERROR_TRANSPORT;
  int32_t httpStatus = 0;  // the last HTTP status, 0 when no request was answered
  int64_t crashId = 0;
  int64_t stackKeyId = 0;
  int64_t messageId = 0;
  std::string infoUrl;
  std::string status;  // the service's word in the commit answer
  std::string error;   // what went wrong, empty on success
};

}  // namespace wrenfall

#endif  // WRENFALL_UPLOAD_UPLOAD_RESULT_H_
