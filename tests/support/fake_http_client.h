#ifndef WRENFALL_TESTS_SUPPORT_FAKE_HTTP_CLIENT_H_
#define WRENFALL_TESTS_SUPPORT_FAKE_HTTP_CLIENT_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "report/store/crash_data.h"
#include "upload/http_client.h"

namespace wrenfall {

inline HttpResponse answer(int32_t status, std::string body) {
  return {WRENFALL_OK, status, std::move(body), ""};
}

inline HttpResponse no_answer(std::string error) {
  return {WRENFALL_ERROR_TRANSPORT, 0, "", std::move(error)};
}

// The answers to an upload whose last call, the commit, has this one.
inline std::vector<HttpResponse> commit_answered(HttpResponse commit) {
  return {answer(200, R"({"status":"success","url":"https://bucket/k?a=b&c"})"), answer(200, ""),
          std::move(commit)};
}

// A record with all that an upload needs.
inline CrashData complete_record() {
  CrashData record;
  record.database = record.appName = record.appVersion = record.crashTypeId = "1";
  return record;
}

// Gives the scripted answers one after the other, and may be looked in upon by the test meanwhile.
class FakeHttpClient : public HttpClient {
 public:
  explicit FakeHttpClient(
      std::vector<HttpResponse> answers, std::function<void()> look = [] {})
      : answers_(std::move(answers)), look_(std::move(look)) {}

  HttpResponse request(const std::string& method, const std::string& url, const HttpHeaders&,
                       const std::string&) override {
    look_();
    if (made_ < answers_.size()) return answers_[made_++];
    ADD_FAILURE() << "unexpected request: " << method << " " << url;
    return no_answer("no answer is scripted");
  }
  HttpResponse request_file(const std::string& method, const std::string& url,
                            const HttpHeaders& headers, const std::filesystem::path&) override {
    return request(method, url, headers, "");
  }

 private:
  const std::vector<HttpResponse> answers_;
  const std::function<void()> look_;
  size_t made_ = 0;
};

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_SUPPORT_FAKE_HTTP_CLIENT_H_
