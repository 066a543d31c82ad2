#ifndef WRENFALL_UPLOAD_HTTP_CLIENT_H_
#define WRENFALL_UPLOAD_HTTP_CLIENT_H_

#include <wrenfall/wrenfall.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace wrenfall {

// Names and values, sent in this order; a name may occur more than once.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

// The outcome of one request.
struct HttpResponse {
  // WRENFALL_OK when an HTTP answer of any status was received, _INVALID_ARGUMENT for a URL that
  // cannot be split, _FILE for a body file that cannot be read, else _TRANSPORT.
  wrenfall_result result = WRENFALL_ERROR_TRANSPORT;
  int32_t status = 0;  // the HTTP status, 0 when there was no answer
  std::string body;
  std::string error;  // empty when there was an answer
  // There was no memory for the request, or for all of an answer's body: that says nothing about the
  // report or the service.
  bool out_of_memory = false;
  uint32_t system_error = 0;  // the system's number of a failed call
  std::string retry_after{};  // the "Retry-After" header, empty when there was none
};

// Called with the number of bytes of a file that have been handed to the network: first with 0,
// then after each piece of some kilobytes, up to `total`. Called on the thread that makes the
// request; must not throw.
using UploadProgress = std::function<void(uint64_t sent, uint64_t total)>;

// Makes HTTP requests, one at a time per call, blocking the calling thread. May be used by several
// threads at once. The response says what failed.
class HttpClient {
 public:
  virtual ~HttpClient() = default;

  virtual HttpResponse request(const std::string& method, const std::string& url,
                               const HttpHeaders& headers, const std::string& body) = 0;

  // The body is streamed from a file.
  virtual HttpResponse request_file(const std::string& method, const std::string& url,
                                    const HttpHeaders& headers,
                                    const std::filesystem::path& file_path) = 0;

  // Ends the requests under way, and lets no later one begin: they fail as transport failures. A
  // client that cannot do so goes on. For any thread; does not wait for the requests' end.
  virtual void cancel() {}
};

// The "User-Agent" of every request: "Wrenfall/" and the version.
std::string make_user_agent();

// The client of the platform; null when there is no memory for it, or the platform lacks what it needs. `progress`, where not empty, is
// called for every body that is streamed from a file.
std::unique_ptr<HttpClient> make_http_client(UploadProgress progress = nullptr);

}  // namespace wrenfall

#endif  // WRENFALL_UPLOAD_HTTP_CLIENT_H_
