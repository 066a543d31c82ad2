// clang-format off
#include <winsock2.h>
#include <windows.h>
// clang-format on
#include <gtest/gtest.h>

#include <thread>

#include "tests/support/temp_dir.h"
#include "upload/http_client.h"

namespace wrenfall {
namespace {

// Listens on a free port of 127.0.0.1 and answers one connection with the given bytes.
class OneAnswerServer {
 public:
  explicit OneAnswerServer(std::string answer) : answer_(std::move(answer)) {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address;
    bind(listener_, reinterpret_cast<sockaddr*>(&address), size);
    listen(listener_, 1);
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = std::to_string(ntohs(address.sin_port));
    if (!answer_.empty()) thread_ = std::thread([this] { serve(); });
  }
  ~OneAnswerServer() {
    close();
    WSACleanup();
  }
  OneAnswerServer(const OneAnswerServer&) = delete;
  OneAnswerServer& operator=(const OneAnswerServer&) = delete;

  // From then on the port refuses. Ends a server that nobody called.
  void close() {
    if (listener_ != INVALID_SOCKET) closesocket(listener_);
    listener_ = INVALID_SOCKET;
    if (thread_.joinable()) thread_.join();
  }
  std::string host() const { return "127.0.0.1:" + port_; }
  // The request as it came in.
  std::string request() {
    if (thread_.joinable()) thread_.join();
    return request_;
  }

 private:
  void serve() {
    const SOCKET peer = accept(listener_, nullptr, nullptr);
    if (peer == INVALID_SOCKET) return;
    // A body that never comes is answered all the same, so that the test ends.
    const DWORD patience_ms = 5000;
    setsockopt(peer, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&patience_ms),
               sizeof patience_ms);
    char buffer[4096];
    for (int got = 1; got > 0 && !complete();) {
      got = recv(peer, buffer, sizeof buffer, 0);
      if (got > 0) request_.append(buffer, static_cast<size_t>(got));
    }
    send(peer, answer_.data(), static_cast<int>(answer_.size()), 0);
    shutdown(peer, SD_SEND);
    closesocket(peer);
  }
  bool complete() const {
    const size_t body = request_.find("\r\n\r\n");
    const size_t length = request_.find("Content-Length: ");
    if (body == std::string::npos) return false;
    return length > body || request_.size() >= body + 4 + std::stoul(request_.substr(length + 16));
  }

  const std::string answer_;
  SOCKET listener_ = INVALID_SOCKET;
  std::string port_, request_;
  std::thread thread_;
};

TEST(HttpClientWin, UrlsThatCannotBeSplit) {
  const auto client = make_http_client();
  for (const std::string& url :
       {std::string(), std::string("127.0.0.1/path"), std::string("/path"), std::string("://x"),
        std::string("https://"), "https://" + std::string(300, 'h') + "/",
        "https://127.0.0.1/" + std::string(5000, 'p')}) {
    const HttpResponse response = client->request("POST", url, {}, "body");
    EXPECT_EQ(response.result, WRENFALL_ERROR_INVALID_ARGUMENT) << url;
    EXPECT_EQ(response.status, 0) << url;
    EXPECT_EQ(response.error, "bad url") << url;
  }
}

TEST(HttpClientWin, FailuresNameTheSystemsError) {
  const TempDir dir;
  OneAnswerServer nobody("");
  nobody.close();
  const auto client = make_http_client();
  const std::string url = "https://" + nobody.host() + "/";
  const HttpResponse refused = client->request("POST", url, {{"User-Agent", "x"}}, "body");
  EXPECT_EQ(refused.result, WRENFALL_ERROR_TRANSPORT);
  EXPECT_EQ(refused.error, "win32 error 12029");  // ERROR_WINHTTP_CANNOT_CONNECT
  EXPECT_EQ(refused.status, 0);
  const HttpResponse no_file = client->request_file("PUT", url, {}, dir / "missing");
  EXPECT_EQ(no_file.result, WRENFALL_ERROR_FILE);
  EXPECT_EQ(no_file.error, "win32 error 2");  // ERROR_FILE_NOT_FOUND
}

TEST(HttpClientWin, MemoryAndFileBodiesArriveAsTheyAre) {
  const TempDir dir;
  std::string large(20000, '\0');
  for (size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i % 253);
  std::vector<uint64_t> sent;
  const auto client =
      make_http_client([&sent](uint64_t bytes, uint64_t) { sent.push_back(bytes); });
  for (const std::string& body : {std::string(), std::string("small"), large}) {
    for (const bool from_file : {false, true}) {
      SCOPED_TRACE(std::to_string(body.size()) + (from_file ? " bytes of a file" : " bytes"));
      // A scheme in capitals is not taken for the secure one, so the plain server understands it.
      OneAnswerServer server("HTTP/1.1 404 No\r\nContent-Length: 20000\r\n\r\n" + large);
      const std::string url = (from_file ? "HTTPS://" : "http://") + server.host() + "/p?q=a%20b&c";
      put_file(dir / "body", body);
      sent.clear();
      const HttpHeaders headers = {{"User-Agent", "Agent/1"}, {"X-Two", "b"}, {"X-One", "a"}};
      const HttpResponse response = from_file
                                        ? client->request_file("PUT", url, headers, dir / "body")
                                        : client->request("PUT", url, headers, body);
      EXPECT_EQ(response.result, WRENFALL_OK) << response.error;
      EXPECT_EQ(response.status, 404);
      EXPECT_TRUE(response.body == large) << response.body.size();
      const std::vector<uint64_t> expected = !from_file     ? std::vector<uint64_t>{}
                                             : body.empty() ? std::vector<uint64_t>{0}
                                             : body.size() < 20000
                                                 ? std::vector<uint64_t>{0, 5}
                                                 : std::vector<uint64_t>{0, 8192, 16384, 20000};
      EXPECT_EQ(sent, expected);
      EXPECT_EQ(response.error, "");
      const std::string request = server.request();
      EXPECT_EQ(request.substr(0, 24), "PUT /p?q=a%20b&c HTTP/1.");
      EXPECT_NE(request.find("\r\nUser-Agent: Agent/1\r\n"), std::string::npos) << request;
      EXPECT_LT(request.find("\r\nX-Two: b\r\n"), request.find("\r\nX-One: a\r\n")) << request;
      EXPECT_TRUE(request.substr(request.find("\r\n\r\n") + 4) == body) << request.size();
    }
  }
}

}  // namespace
}  // namespace wrenfall
