#include "tests/native/http_client_posix.h"

#include "support/version.h"

namespace wrenfall {
namespace {

class NativeHttpClient : public HttpClient {
 public:
  HttpResponse request(const std::string&, const std::string& url, const HttpHeaders&,
                       const std::string& body) override {
    if (network()) return network()(url, body);
    return {WRENFALL_ERROR_TRANSPORT, 0, "", "no network"};
  }
  HttpResponse request_file(const std::string& method, const std::string& url,
                            const HttpHeaders& headers, const std::filesystem::path&) override {
    return request(method, url, headers, "");
  }
};

}  // namespace

Network& network() {
  static Network service;
  return service;
}

std::string make_user_agent() { return "Wrenfall/" WRENFALL_VERSION_TEXT; }

std::unique_ptr<HttpClient> make_http_client(UploadProgress) {
  return std::make_unique<NativeHttpClient>();
}

}  // namespace wrenfall
