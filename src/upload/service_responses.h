#ifndef WRENFALL_UPLOAD_SERVICE_RESPONSES_H_
#define WRENFALL_UPLOAD_SERVICE_RESPONSES_H_

#include <string>

#include "report/store/upload_result.h"
#include "upload/http_client.h"

namespace wrenfall {

// Each judges the answer to one call of the upload. True when the upload can go on; otherwise
// `outcome` holds the result, the HTTP status and the error text.

// Takes the upload location out of the answer to the first call.
bool parse_upload_location_response(const HttpResponse& response, std::string& upload_url,
                                    UploadResult& outcome);

bool parse_put_response(const HttpResponse& response, UploadResult& outcome);

// Takes the ids out of the answer to the commit. One that is no number makes the answer unusable.
bool parse_commit_response(const HttpResponse& response, UploadResult& outcome);

}  // namespace wrenfall

#endif  // WRENFALL_UPLOAD_SERVICE_RESPONSES_H_
