#ifndef WRENFALL_TESTS_SUPPORT_FAKE_HTTP_CLIENT_H_
#define WRENFALL_TESTS_SUPPORT_FAKE_HTTP_CLIENT_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/temp_dir.h"
#include "upload/http_client.h"

namespace wrenfall {

inline HttpResponse answer(int32_t status, std::string body) {
  return {WRENFALL_OK, status, std::move(body), ""};
}

inline HttpResponse no_answer(std::string error) {
  return {WRENFALL_ERROR_TRANSPORT, 0, "", std::move(error)};
}

// Gives the scripted answers one after the other and keeps what it was asked.
class FakeHttpClient : public HttpClient {
 public:
  struct Request {
    std::string method;
    std::string url;
    HttpHeaders headers;
    std::string body;            // for a file body, the file's bytes at the time of the request
    std::filesystem::path file;  // empty for a body in memory
  };

  explicit FakeHttpClient(std::vector<HttpResponse> answers) : answers_(std::move(answers)) {}

  HttpResponse request(const std::string& method, const std::string& url,
                       const HttpHeaders& headers, const std::string& body) override {
    return take({method, url, headers, body, {}});
  }
  HttpResponse request_file(const std::string& method, const std::string& url,
                            const HttpHeaders& headers,
                            const std::filesystem::path& file_path) override {
    return take({method, url, headers, file_text(file_path), file_path});
  }

  std::vector<Request> requests;

 private:
  HttpResponse take(Request request) {
    requests.push_back(std::move(request));
    if (requests.size() <= answers_.size()) return answers_[requests.size() - 1];
    ADD_FAILURE() << "unexpected request: " << requests.back().method << " " << requests.back().url;
    return no_answer("no answer is scripted");
  }

  const std::vector<HttpResponse> answers_;
};

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_SUPPORT_FAKE_HTTP_CLIENT_H_
