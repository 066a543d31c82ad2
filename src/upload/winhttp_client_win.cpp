// clang-format off
#include <windows.h>
#include <winhttp.h>
// clang-format on

#include <array>
#include <new>
#include <optional>
#include <utility>

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
constexpr size_t kChunkSize = 8192;
constexpr DWORD kFirstFinalStatus = 200;

struct InternetHandleTraits {
  using Handle = HINTERNET;
  static Handle empty() { return nullptr; }
  static void close(Handle handle) { WinHttpCloseHandle(handle); }
};
using ScopedInternet = ScopedHandle<InternetHandleTraits>;

std::string last_error_text() { return "win32 error " + std::to_string(GetLastError()); }

HttpResponse failure(wrenfall_result result, std::string error) {
  HttpResponse response;
  response.result = result;
  response.error = std::move(error);
  return response;
}

HttpResponse transport_failure() { return failure(WRENFALL_ERROR_TRANSPORT, last_error_text()); }

struct CrackedUrl {
  std::array<wchar_t, 64> scheme{};
  std::array<wchar_t, 256> host{};
  std::array<wchar_t, 4096> path{};  // with the query
  INTERNET_PORT port = 0;

  // Compared case-sensitively: "HTTPS" is not secure.
  bool secure() const { return std::wstring_view(scheme.data()) == L"https"; }
};

bool crack(const std::string& url, CrackedUrl& cracked) {
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.lpszScheme = cracked.scheme.data();
  parts.dwSchemeLength = static_cast<DWORD>(cracked.scheme.size());
  parts.lpszHostName = cracked.host.data();
  parts.dwHostNameLength = static_cast<DWORD>(cracked.host.size());
  parts.lpszUrlPath = cracked.path.data();
  parts.dwUrlPathLength = static_cast<DWORD>(cracked.path.size());
  const std::wstring wide = utf8_to_wide(url);
  if (wide.empty() || !WinHttpCrackUrl(wide.c_str(), static_cast<DWORD>(wide.size()), 0, &parts)) {
    return false;
  }
  cracked.port = parts.nPort;
  return true;
}

bool add_headers(HINTERNET request, const HttpHeaders& headers) {
  std::string text;
  for (const auto& [name, value] : headers) {
    text.append(name).append(": ").append(value).append("\r\n");
  }
  if (text.empty()) return true;
  const std::wstring wide = utf8_to_wide(text);
  return WinHttpAddRequestHeaders(request, wide.c_str(), static_cast<DWORD>(wide.size()),
                                  WINHTTP_ADDREQ_FLAG_ADD) != FALSE;
}

// What failed, if anything did.
using Failure = std::optional<HttpResponse>;

// Each of the two sends the request with its body.
Failure send_memory(HINTERNET request, const std::string& body) {
  const auto length = static_cast<DWORD>(body.size());
  // The system only reads the data, although the parameter is not const.
  void* const data = body.empty() ? nullptr : const_cast<char*>(body.data());
  if (!WinHttpSendRequest(request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, data, length, length, 0)) {
    return transport_failure();
  }
  return std::nullopt;
}

Failure send_file(HINTERNET request, const std::filesystem::path& path,
                  const UploadProgress& progress) {
  const ScopedFile file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  LARGE_INTEGER size{};
  if (!file || !GetFileSizeEx(file.get(), &size)) {
    return failure(WRENFALL_ERROR_FILE, last_error_text());
  }
  // This parameter has 32 bits. For a larger file the system takes the caller's Content-Length
  // header.
  const DWORD total = size.QuadPart <= MAXDWORD ? static_cast<DWORD>(size.QuadPart)
                                                : WINHTTP_IGNORE_REQUEST_TOTAL_LENGTH;
  if (!WinHttpSendRequest(request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0,
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
    if (!WinHttpWriteData(request, chunk.data(), got, &written)) return transport_failure();
    sent += got;
    tell(sent);
  }
  return std::nullopt;
}

// Returns what has arrived, also when the rest fails to arrive.
std::string read_body(HINTERNET request) {
  std::string body;
  for (;;) {
    DWORD available = 0;
    if (!WinHttpQueryDataAvailable(request, &available) || available == 0) return body;
    std::string buffer(available, '\0');
    DWORD got = 0;
    if (!WinHttpReadData(request, buffer.data(), available, &got) || got == 0) return body;
    body.append(buffer, 0, got);
  }
}

HttpResponse receive(HINTERNET request) {
  if (!WinHttpReceiveResponse(request, nullptr)) return transport_failure();
  DWORD status = 0;
  DWORD size = sizeof status;
  if (!WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                           WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX)) {
    return transport_failure();
  }
  HttpResponse response;
  // An informational answer, which some systems pass on, is not followed by a body to wait for.
  if (status >= kFirstFinalStatus) response.body = read_body(request);
  response.result = WRENFALL_OK;
  response.status = static_cast<int32_t>(status);
  return response;
}

// Uses WinHTTP, with a session, a connection and a request of its own for each call. Redirects,
// certificates and proxies follow the system's defaults; no check is relaxed.
class WinHttpClient : public HttpClient {
 public:
  explicit WinHttpClient(UploadProgress progress) : progress_(std::move(progress)) {}

  HttpResponse request(const std::string& method, const std::string& url,
                       const HttpHeaders& headers, const std::string& body) override {
    return perform_safely(method, url, headers, body, {});
  }
  HttpResponse request_file(const std::string& method, const std::string& url,
                            const HttpHeaders& headers,
                            const std::filesystem::path& file_path) override {
    return perform_safely(method, url, headers, {}, file_path);
  }

 private:
  // Turns lack of memory into a failed response: a service may answer more than fits into memory.
  HttpResponse perform_safely(const std::string& method, const std::string& url,
                              const HttpHeaders& headers, const std::string& body,
                              const std::filesystem::path& file_path) const {
    try {
      return perform(method, url, headers, body, file_path);
    } catch (const std::bad_alloc&) {
      return failure(WRENFALL_ERROR_TRANSPORT, "out of memory");
    }
  }

  // Sends the file when one is named, else `body`.
  HttpResponse perform(const std::string& method, const std::string& url,
                       const HttpHeaders& headers, const std::string& body,
                       const std::filesystem::path& file_path) const {
    CrackedUrl target;
    if (!crack(url, target)) return failure(WRENFALL_ERROR_INVALID_ARGUMENT, "bad url");

    // Destroyed in the reverse order: request, connection, session.
    const ScopedInternet session(WinHttpOpen(utf8_to_wide(make_user_agent()).c_str(),
                                             WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY,
                                             WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
    if (!session) return transport_failure();
    if (!WinHttpSetTimeouts(session.get(), kResolveTimeoutMs, kConnectTimeoutMs, kSendTimeoutMs,
                            kReceiveTimeoutMs)) {
      return transport_failure();
    }
    const ScopedInternet connection(
        WinHttpConnect(session.get(), target.host.data(), target.port, 0));
    if (!connection) return transport_failure();
    const ScopedInternet request(WinHttpOpenRequest(connection.get(), utf8_to_wide(method).c_str(),
                                                    target.path.data(), nullptr, WINHTTP_NO_REFERER,
                                                    WINHTTP_DEFAULT_ACCEPT_TYPES,
                                                    target.secure() ? WINHTTP_FLAG_SECURE : 0));
    if (!request || !add_headers(request.get(), headers)) return transport_failure();

    Failure failed = file_path.empty() ? send_memory(request.get(), body)
                                       : send_file(request.get(), file_path, progress_);
    return failed ? std::move(*failed) : receive(request.get());
  }

  const UploadProgress progress_;
};

}  // namespace

std::string make_user_agent() { return "Wrenfall/" WRENFALL_VERSION_TEXT; }

std::unique_ptr<HttpClient> make_http_client(UploadProgress progress) {
  return std::unique_ptr<HttpClient>(new (std::nothrow) WinHttpClient(std::move(progress)));
}

}  // namespace wrenfall
