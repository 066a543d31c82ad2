// clang-format off
#include <windows.h>
#include <winhttp.h>
// clang-format on

#include <algorithm>
#include <array>
#include <chrono>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "support/clock.h"
#include "support/open_file_win.h"
#include "support/system_library_win.h"
#include "support/text.h"
#include "support/version.h"
#include "support/win_handle.h"
#include "upload/http_client.h"

namespace wrenfall {
namespace {

constexpr int kResolveTimeoutMs = 60000;
constexpr int kConnectTimeoutMs = 60000;
constexpr int kSendTimeoutMs = 300000;
constexpr int kReceiveTimeoutMs = 300000;
// How often a request is sent once more because the system wants that, as after a proxy's question for
// a name and a password, or where a connection that was open already has been closed.
constexpr int kMaxRepeats = 3;
constexpr size_t kChunkSize = 8192;
constexpr DWORD kFirstFinalStatus = 200;
// The service's answers are small. What a faulty or hostile one sends beyond these is not waited for.
constexpr size_t kMaxAnswerBytes = size_t{8} << 20;
constexpr std::chrono::milliseconds kMaxAnswerTime{60000};

// Few runs of a host send anything, so the network's libraries are loaded by those alone.
struct WinHttp {
  SystemLibrary library{L"winhttp.dll"};
  decltype(&WinHttpAddRequestHeaders) add_request_headers =
      library.find("WinHttpAddRequestHeaders");
  decltype(&WinHttpCloseHandle) close_handle = library.find("WinHttpCloseHandle");
  decltype(&WinHttpConnect) connect = library.find("WinHttpConnect");
  decltype(&WinHttpCrackUrl) crack_url = library.find("WinHttpCrackUrl");
  decltype(&WinHttpOpen) open = library.find("WinHttpOpen");
  decltype(&WinHttpOpenRequest) open_request = library.find("WinHttpOpenRequest");
  decltype(&WinHttpQueryDataAvailable) query_data_available =
      library.find("WinHttpQueryDataAvailable");
  decltype(&WinHttpQueryHeaders) query_headers = library.find("WinHttpQueryHeaders");
  decltype(&WinHttpReadData) read_data = library.find("WinHttpReadData");
  decltype(&WinHttpReceiveResponse) receive_response = library.find("WinHttpReceiveResponse");
  decltype(&WinHttpSendRequest) send_request = library.find("WinHttpSendRequest");
  decltype(&WinHttpSetTimeouts) set_timeouts = library.find("WinHttpSetTimeouts");
  decltype(&WinHttpWriteData) write_data = library.find("WinHttpWriteData");
};

// Owns a handle of WinHTTP's.
class ScopedInternet {
 public:
  ScopedInternet(const WinHttp& http, HINTERNET handle) : http_(http), handle_(handle) {}
  ~ScopedInternet() {
    if (handle_ != nullptr) http_.close_handle(handle_);
  }
  ScopedInternet(const ScopedInternet&) = delete;
  ScopedInternet& operator=(const ScopedInternet&) = delete;

  HINTERNET get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }

 private:
  const WinHttp& http_;
  const HINTERNET handle_;
};

class ScopedRequest;

// The requests of one client that are under way. A request that another thread closes ends its call with
// an error. A list through the requests themselves, so that no memory is needed.
class OpenRequests {
 public:
  void cancel();

 private:
  friend class ScopedRequest;
  std::mutex mutex_;
  ScopedRequest* first_ = nullptr;
  bool cancelled_ = false;
};

// Owns a request until it is cancelled. Empty when there was none, or when all are cancelled.
class ScopedRequest {
 public:
  ScopedRequest(const WinHttp& http, OpenRequests& all, HINTERNET handle)
      : http_(http), all_(all), handle_(handle) {
    const std::lock_guard<std::mutex> lock(all_.mutex_);
    next_ = std::exchange(all_.first_, this);
    if (all_.cancelled_) close();
  }
  ~ScopedRequest() {
    const std::lock_guard<std::mutex> lock(all_.mutex_);
    close();
    ScopedRequest** link = &all_.first_;
    while (*link != this) link = &(*link)->next_;
    *link = next_;
  }
  ScopedRequest(const ScopedRequest&) = delete;
  ScopedRequest& operator=(const ScopedRequest&) = delete;

  // Its calls fail once it is cancelled.
  HINTERNET get() const { return handle_; }

 private:
  friend class OpenRequests;
  void close() {
    if (handle_ != nullptr && !std::exchange(is_closed_, true)) http_.close_handle(handle_);
  }

  const WinHttp& http_;
  OpenRequests& all_;
  const HINTERNET handle_;
  bool is_closed_ = false;
  ScopedRequest* next_ = nullptr;
};

void OpenRequests::cancel() {
  const std::lock_guard<std::mutex> lock(mutex_);
  cancelled_ = true;
  for (ScopedRequest* request = first_; request != nullptr; request = request->next_) {
    request->close();
  }
}

HttpResponse failure(wrenfall_result result, std::string error) {
  HttpResponse response;
  response.result = result;
  response.error = std::move(error);
  return response;
}

bool is_lack_of_memory(DWORD error) {
  return error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_OUTOFMEMORY ||
         error == ERROR_NO_SYSTEM_RESOURCES || error == ERROR_WORKING_SET_QUOTA ||
         error == ERROR_COMMITMENT_LIMIT;
}

// The failure of the system call that was made last.
HttpResponse system_failure(wrenfall_result result) {
  const DWORD error = GetLastError();
  HttpResponse response = failure(result, "win32 error " + std::to_string(error));
  response.out_of_memory = is_lack_of_memory(error);
  response.system_error = error;
  return response;
}

HttpResponse transport_failure() { return system_failure(WRENFALL_ERROR_TRANSPORT); }

struct CrackedUrl {
  std::array<wchar_t, 64> scheme{};
  std::array<wchar_t, 256> host{};
  std::array<wchar_t, 4096> path{};  // with the query
  INTERNET_PORT port = 0;

  // Compared case-sensitively: "HTTPS" is not secure.
  bool secure() const { return std::wstring_view(scheme.data()) == L"https"; }
};

bool crack(const WinHttp& http, const std::string& url, CrackedUrl& cracked) {
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.lpszScheme = cracked.scheme.data();
  parts.dwSchemeLength = static_cast<DWORD>(cracked.scheme.size());
  parts.lpszHostName = cracked.host.data();
  parts.dwHostNameLength = static_cast<DWORD>(cracked.host.size());
  parts.lpszUrlPath = cracked.path.data();
  parts.dwUrlPathLength = static_cast<DWORD>(cracked.path.size());
  const std::wstring wide = utf8_to_wide(url);
  if (wide.empty() || !http.crack_url(wide.c_str(), static_cast<DWORD>(wide.size()), 0, &parts)) {
    return false;
  }
  cracked.port = parts.nPort;
  return true;
}

bool add_headers(const WinHttp& http, HINTERNET request, const HttpHeaders& headers) {
  std::string text;
  for (const auto& [name, value] : headers) {
    text.append(name).append(": ").append(value).append("\r\n");
  }
  if (text.empty()) return true;
  const std::wstring wide = utf8_to_wide(text);
  return http.add_request_headers(request, wide.c_str(), static_cast<DWORD>(wide.size()),
                                  WINHTTP_ADDREQ_FLAG_ADD) != FALSE;
}

// What failed, if anything did.
using Failure = std::optional<HttpResponse>;

// Each of the two sends the request with its body.
Failure send_memory(const WinHttp& http, HINTERNET request, const std::string& body) {
  const auto length = static_cast<DWORD>(body.size());
  // The system only reads the data, although the parameter is not const.
  void* const data = body.empty() ? nullptr : const_cast<char*>(body.data());
  if (!http.send_request(request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, data, length, length, 0)) {
    return transport_failure();
  }
  return std::nullopt;
}

Failure send_file(const WinHttp& http, HINTERNET request, const std::filesystem::path& path,
                  const UploadProgress& progress) {
  const ScopedFile file = open_file(path, GENERIC_READ, FILE_SHARE_READ);
  LARGE_INTEGER size{};
  if (!file || !GetFileSizeEx(file.get(), &size)) {
    return system_failure(WRENFALL_ERROR_FILE);
  }
  // This parameter has 32 bits. For a larger file the system takes the caller's Content-Length
  // header.
  const DWORD total = size.QuadPart <= MAXDWORD ? static_cast<DWORD>(size.QuadPart)
                                                : WINHTTP_IGNORE_REQUEST_TOTAL_LENGTH;
  if (!http.send_request(request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0,
                         total, 0)) {
    return transport_failure();
  }
  const auto tell = [&](LONGLONG sent) {
    if (progress) progress(static_cast<uint64_t>(sent), static_cast<uint64_t>(size.QuadPart));
  };
  tell(0);
  std::array<char, kChunkSize> chunk{};
  for (LONGLONG sent = 0; sent < size.QuadPart;) {
    const LONGLONG rest = size.QuadPart - sent;
    const auto wanted =
        static_cast<DWORD>(rest < LONGLONG{kChunkSize} ? rest : LONGLONG{kChunkSize});
    DWORD got = 0;
    if (!ReadFile(file.get(), chunk.data(), wanted, &got, nullptr) || got == 0) {
      return failure(WRENFALL_ERROR_FILE, "read failed");
    }
    DWORD written = 0;
    if (!http.write_data(request, chunk.data(), got, &written)) return transport_failure();
    sent += got;
    tell(sent);
  }
  return std::nullopt;
}

// What arrived before a failure, or before too much time has passed, is kept.
void read_body(const WinHttp& http, HINTERNET request, std::string& body) {
  const AwakeClock::time_point begin = AwakeClock::now();
  std::array<char, kChunkSize> chunk{};
  while (body.size() < kMaxAnswerBytes) {
    const auto taken =
        std::chrono::duration_cast<std::chrono::milliseconds>(AwakeClock::now() - begin);
    if (taken >= kMaxAnswerTime) return;
    // So that no single wait for more of the body goes beyond the end.
    http.set_timeouts(request, kResolveTimeoutMs, kConnectTimeoutMs, kSendTimeoutMs,
                      static_cast<int>((kMaxAnswerTime - taken).count()));
    DWORD available = 0;
    if (!http.query_data_available(request, &available) || available == 0) return;
    const size_t wanted =
        std::min({size_t{available}, chunk.size(), kMaxAnswerBytes - body.size()});
    DWORD got = 0;
    if (!http.read_data(request, chunk.data(), static_cast<DWORD>(wanted), &got) || got == 0) {
      return;
    }
    body.append(chunk.data(), got);
  }
}

// The value of a header that is short in every sensible answer; empty when there is none.
std::string short_header(const WinHttp& http, HINTERNET request, DWORD header) {
  std::array<wchar_t, 128> value{};
  auto size = static_cast<DWORD>(sizeof value);
  if (!http.query_headers(request, header, WINHTTP_HEADER_NAME_BY_INDEX, value.data(), &size,
                          WINHTTP_NO_HEADER_INDEX)) {
    return {};
  }
  return wide_to_utf8(std::wstring_view(value.data(), size / sizeof(wchar_t)));
}

HttpResponse receive(const WinHttp& http, HINTERNET request) {
  if (!http.receive_response(request, nullptr)) return transport_failure();
  DWORD status = 0;
  DWORD size = sizeof status;
  if (!http.query_headers(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                          WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX)) {
    return transport_failure();
  }
  HttpResponse response;
  response.result = WRENFALL_OK;
  response.status = static_cast<int32_t>(status);
  // An informational answer, which some systems pass on, is not followed by a body to wait for.
  if (status < kFirstFinalStatus) return response;
  try {
    response.retry_after = short_header(http, request, WINHTTP_QUERY_RETRY_AFTER);
    read_body(http, request, response.body);
  } catch (const std::bad_alloc&) {
    // The status counts: it may say that the service has the report.
    response.out_of_memory = true;
  }
  return response;
}

// Uses WinHTTP, with a session, a connection and a request of its own for each call. Redirects,
// certificates and proxies follow the system's defaults; no check is relaxed.
class WinHttpClient : public HttpClient {
 public:
  WinHttpClient(const WinHttp& http, UploadProgress progress)
      : http_(http), progress_(std::move(progress)) {}

  HttpResponse request(const std::string& method, const std::string& url,
                       const HttpHeaders& headers, const std::string& body) override {
    return perform_safely(method, url, headers, body, {});
  }
  HttpResponse request_file(const std::string& method, const std::string& url,
                            const HttpHeaders& headers,
                            const std::filesystem::path& file_path) override {
    return perform_safely(method, url, headers, {}, file_path);
  }
  void cancel() override { open_requests_.cancel(); }

 private:
  // No failure leaves as an exception, lack of memory included.
  HttpResponse perform_safely(const std::string& method, const std::string& url,
                              const HttpHeaders& headers, const std::string& body,
                              const std::filesystem::path& file_path) {
    try {
      return perform(method, url, headers, body, file_path);
    } catch (const std::bad_alloc&) {
      HttpResponse response = failure(WRENFALL_ERROR_TRANSPORT, "out of memory");
      response.out_of_memory = true;
      return response;
    }
  }

  // Sends the file when one is named, else `body`.
  HttpResponse perform(const std::string& method, const std::string& url,
                       const HttpHeaders& headers, const std::string& body,
                       const std::filesystem::path& file_path) {
    CrackedUrl target;
    if (!crack(http_, url, target)) return failure(WRENFALL_ERROR_INVALID_ARGUMENT, "bad url");

    // Destroyed in the reverse order: request, connection, session.
    const ScopedInternet session(
        http_,
        http_.open(utf8_to_wide(make_user_agent()).c_str(), WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY,
                   WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
    if (!session) return transport_failure();
    if (!http_.set_timeouts(session.get(), kResolveTimeoutMs, kConnectTimeoutMs, kSendTimeoutMs,
                            kReceiveTimeoutMs)) {
      return transport_failure();
    }
    const ScopedInternet connection(
        http_, http_.connect(session.get(), target.host.data(), target.port, 0));
    if (!connection) return transport_failure();
    const ScopedRequest request(
        http_, open_requests_,
        http_.open_request(connection.get(), utf8_to_wide(method).c_str(), target.path.data(),
                           nullptr, WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                           target.secure() ? WINHTTP_FLAG_SECURE : 0));
    if (request.get() == nullptr || !add_headers(http_, request.get(), headers)) {
      return transport_failure();
    }

    for (int repeats = 0;; ++repeats) {
      Failure failed = file_path.empty() ? send_memory(http_, request.get(), body)
                                         : send_file(http_, request.get(), file_path, progress_);
      HttpResponse response = failed ? std::move(*failed) : receive(http_, request.get());
      if (response.system_error != ERROR_WINHTTP_RESEND_REQUEST || repeats == kMaxRepeats) {
        return response;
      }
    }
  }

  const WinHttp http_;
  const UploadProgress progress_;
  OpenRequests open_requests_;
};

}  // namespace

std::string make_user_agent() { return "Wrenfall/" WRENFALL_VERSION_TEXT; }

std::unique_ptr<HttpClient> make_http_client(UploadProgress progress) {
  const WinHttp http;
  if (!http.library.is_complete()) return nullptr;
  return std::unique_ptr<HttpClient>(new (std::nothrow) WinHttpClient(http, std::move(progress)));
}

}  // namespace wrenfall
