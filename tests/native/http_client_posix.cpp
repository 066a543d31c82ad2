#include "support/version.h"
#include "upload/http_client.h"

namespace wrenfall {
namespace {

// A machine without a network.
class UnreachableHttpClient : public HttpClient {
 public:
  HttpResponse request(const std::string&, const std::string&, const HttpHeaders&,
                       const std::string&) override {
    return {WRENFALL_ERROR_TRANSPORT, 0, "", "no network"};
  }
  HttpResponse request_file(const std::string&, const std::string&, const HttpHeaders&,
                            const std::filesystem::path&) override {
    return {WRENFALL_ERROR_TRANSPORT, 0, "", "no network"};
  }
};

}  // namespace

std::string make_user_agent() { return "Wrenfall/" WRENFALL_VERSION_TEXT; }

std::unique_ptr<HttpClient> make_http_client(UploadProgress) {
  return std::make_unique<UnreachableHttpClient>();
}

}  // namespace wrenfall
