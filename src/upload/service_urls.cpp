#include "upload/service_urls.h"

#include <string_view>

#include "support/encoding.h"

// What follows the database in the service's host name, from the build's configuration.
#ifndef WRENFALL_SERVICE_DOMAIN
#error "the build defines WRENFALL_SERVICE_DOMAIN"
#endif

namespace wrenfall {
namespace {

constexpr std::string_view kDomain = WRENFALL_SERVICE_DOMAIN;

// RFC 2606 keeps this top-level domain from ever leading to a machine.
constexpr char kNoDomain[] = ".invalid";

// Everything up to and with the application's version, which both calls begin with.
std::string call_url(const CrashData& data, const char* call) {
  return "https://" + data.database + std::string(has_service() ? kDomain : kNoDomain) + "/api/" +
         call + "?appName=" + percent_encode(data.appName) +
         "&appVersion=" + percent_encode(data.appVersion);
}

}  // namespace

bool has_service() { return !kDomain.empty(); }

std::string build_upload_url_request(const CrashData& data, uint64_t archive_size) {
  return call_url(data, "getCrashUploadUrl") + "&crashTypeId=" + data.crashTypeId +
         "&crashPostSize=" + std::to_string(archive_size);
}

std::string build_commit_url(const CrashData& data, const std::string& upload_url,
                             const std::string& md5_hex) {
  std::string url = call_url(data, "commitS3CrashUpload") + "&s3Key=" + upload_url +
                    "&md5=" + md5_hex + "&crashTypeId=" + data.crashTypeId;
  if (!data.crashTime.empty()) url += "&crashTime=" + data.crashTime;
  return url;
}

}  // namespace wrenfall
