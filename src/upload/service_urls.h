#ifndef WRENFALL_UPLOAD_SERVICE_URLS_H_
#define WRENFALL_UPLOAD_SERVICE_URLS_H_

#include <cstdint>
#include <string>

#include "report/store/crash_data.h"

namespace wrenfall {

// Whether the build was told where its service is. Without one, nothing that is sent arrives.
bool has_service();

// The URL of the call that asks where to upload an archive of that many bytes. Only the
// application's name and version are percent-encoded; the other values go in as they are, which the
// service relies on.
std::string build_upload_url_request(const CrashData& data, uint64_t archive_size);

// The URL of the call that commits what was put at `upload_url`.
std::string build_commit_url(const CrashData& data, const std::string& upload_url,
                             const std::string& md5_hex);

}  // namespace wrenfall

#endif  // WRENFALL_UPLOAD_SERVICE_URLS_H_
