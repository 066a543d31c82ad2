#include "upload/uploader.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <tuple>

#include "support/digest.h"
#include "tests/support/capture_log.h"
#include "tests/support/fake_http_client.h"
#include "tests/support/temp_dir.h"
#include "tests/support/zip_reader.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;
using Answers = std::vector<HttpResponse>;

const HttpResponse kLocated = answer(200, R"({"url":"https://bucket/k?a=b&c","status":"success"})");
const HttpResponse kStored = answer(200, "");
const std::string kHost = std::string("https://127") + WRENFALL_SERVICE_DOMAIN;

CrashData record() {
  CrashData data;
  data.database = "127";
  data.appName = "My App/2";
  data.appVersion = "1.0";
  data.crashTypeId = "3";
  return data;
}

fs::path make_report(const TempDir& dir) {
  const fs::path folder = dir.make_folder("report");
  put_file(folder / "WrenfallCrashData.json", "{}");
  put_file(folder / "result.json", "{}");
  put_file(folder / "x.dmp", "dump");
  put_file(folder / "Wrenfall.log", "log");
  return folder;
}

TEST(Uploader, MakesTheseThreeRequests) {
  CrashData data = record();
  data.key = "the key";
  data.user = "Jane";
  data.email = "j@x";
  data.userDescription = "what\r\nhappened";
  data.notes = "";
  data.environment = "env";
  data.attributes = {{"z", "ü"}, {"a", "\"1\""}};
  data.crashTime = "2026-01-31T23:59:59Z";
  data.crashSignature = "a!b";
  data.crashSignatureHash = "h";
  for (const bool has_attributes : {true, false}) {
    if (!has_attributes) data.attributes.clear();
    const TempDir dir;
    const fs::path folder = make_report(dir);
    FakeHttpClient http({kLocated, kStored, answer(200, R"({"status":"success"})")});
    EXPECT_EQ(upload_report({http, nullptr}, data, folder).result, WRENFALL_OK);
    ASSERT_EQ(http.requests.size(), 3u);
    const auto& [locate, put, commit] =
        std::tie(http.requests[0], http.requests[1], http.requests[2]);
    const std::string size = std::to_string(put.body.size());
    const HttpHeaders agent = {{"User-Agent", "Wrenfall/9.0.0-dev"}};

    EXPECT_EQ(locate.method, "POST");
    EXPECT_EQ(locate.url, kHost +
                              "/api/getCrashUploadUrl?appName=My%20App%2F2&appVersion=1.0"
                              "&crashTypeId=3&crashPostSize=" +
                              size);
    EXPECT_EQ(locate.headers, agent);
    EXPECT_EQ(locate.body, "");
    EXPECT_TRUE(locate.file.empty());

    EXPECT_EQ(put.method, "PUT");
    EXPECT_EQ(put.url, "https://bucket/k?a=b&c");
    EXPECT_EQ(
        put.headers,
        (HttpHeaders{agent[0], {"Content-Type", "application/zip"}, {"Content-Length", size}}));
    EXPECT_EQ(put.file, folder / "WrenfallCrash.zip");
    const auto entries = read_zip(put.body);
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), 2u);
    EXPECT_EQ((*entries)[0].name, "Wrenfall.log");
    EXPECT_EQ((*entries)[1].name, "x.dmp");

    put_file(dir / "copy.zip", put.body);
    EXPECT_EQ(commit.method, "POST");
    EXPECT_EQ(commit.url, kHost +
                              "/api/commitS3CrashUpload?appName=My%20App%2F2&appVersion=1.0"
                              "&s3Key=https://bucket/k?a=b&c&md5=" +
                              md5_file_hex(dir / "copy.zip") +
                              "&crashTypeId=3&crashTime=2026-01-31T23:59:59Z");
    ASSERT_EQ(commit.headers.size(), 2u);
    EXPECT_EQ(commit.headers[0], agent[0]);
    EXPECT_EQ(commit.headers[1].first, "Content-Type");
    const std::string type = "multipart/form-data; boundary=";
    ASSERT_EQ(commit.headers[1].second.substr(0, type.size()), type);
    const std::string boundary = commit.headers[1].second.substr(type.size());
    std::string expected;
    for (const auto& [name, value] :
         HttpHeaders{{"appKey", "the key"},
                     {"user", "Jane"},
                     {"email", "j@x"},
                     {"description", "what\r\nhappened"},
                     {"notes", ""},
                     {"attributes", has_attributes ? R"({"a":"\"1\"","z":"ü"})" : ""},
                     {"environment", "env"},
                     {"crashSignature", "a!b"},
                     {"crashHash", "h"}}) {
      expected += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name +
                  "\"\r\n\r\n" + value + "\r\n";
    }
    EXPECT_EQ(commit.body, expected + "--" + boundary + "--\r\n");
  }
}

TEST(Uploader, JudgesEveryAnswer) {
  struct Case {
    Answers answers;
    wrenfall_result result;
    int32_t http_status;
    std::string error;
  };
  const auto first = [](HttpResponse response) { return Answers{std::move(response)}; };
  const auto put = [](HttpResponse response) { return Answers{kLocated, std::move(response)}; };
  const auto commit = [](HttpResponse response) {
    return Answers{kLocated, kStored, std::move(response)};
  };
  const std::string returned = "getCrashUploadUrl returned ";
  const std::string rejected = "getCrashUploadUrl rejected the report: ";
  const std::string no_json = "commit response is not JSON: ";
  std::vector<Case> cases = {
      {first(no_answer("down")), 10, 0, "getCrashUploadUrl: down"},
      {first({WRENFALL_ERROR_INVALID_ARGUMENT, 0, "", "bad url"}), 10, 0,
       "getCrashUploadUrl: bad url"},
      {first(answer(429, "slow down")), 12, 429, "getCrashUploadUrl: rate limited"},
      {first(answer(400, "bad")), 12, 400, returned + "400: bad"},
      {first(answer(413, "")), 12, 413, returned + "413: "},
      {first(answer(500, "oops")), 11, 500, returned + "500: oops"},
      {first(answer(201, kLocated.body)), 11, 201, returned + "201: " + kLocated.body},
      {first(answer(200, "")), 11, 200, returned + "200: "},
      {put(no_answer("reset")), 10, 0, "PUT: reset"},
      {put({WRENFALL_ERROR_FILE, 0, "", "read failed"}), 10, 0, "PUT: read failed"},
      {put(answer(403, "<xml>")), 11, 403, "PUT returned 403: <xml>"},
      {put(answer(429, "")), 11, 429, "PUT returned 429: "},
      {put(answer(204, "")), 11, 204, "PUT returned 204: "},
      {commit(no_answer("late")), 10, 0, "commit: late"},
      {commit(answer(400, "x")), 11, 400, "commit returned 400: x"},
      {commit(answer(429, "x")), 11, 429, "commit returned 429: x"},
      {commit(answer(201, "{}")), 11, 201, "commit returned 201: {}"},
      {commit(answer(200, "")), 11, 200, no_json},
      {commit(answer(200, "{")), 11, 200, no_json + "{"},
      {commit(answer(200, R"({"status":"Success"})")), 11, 200, "commit status: Success"},
      {commit(answer(200, R"({"status":"%s%n"})")), 11, 200, "commit status: %s%n"},
  };
  // Answers of status 200 that refuse the report, or cannot be understood.
  for (const char* body :
       {"nonsense", "[]", "\"success\"", "{}", R"({"status":"success"})", R"({"url":"https://b"})",
        R"({"status":"success","url":5})", R"({"status":"success","url":null})",
        R"({"status":1,"url":"https://b"})", R"({"status":"SUCCESS","url":"https://b"})",
        R"({"status":"failure","message":"no","url":"https://b"})"}) {
    cases.push_back({first(answer(200, body)), 12, 200, rejected + body});
  }
  for (const char* body : {"[]", "5", "null", "{}", R"({"status":1})", R"(["status","success"])"}) {
    cases.push_back({commit(answer(200, body)), 11, 200, "commit status: "});
  }
  for (const Case& c : cases) {
    SCOPED_TRACE("request " + std::to_string(c.answers.size()) + " answered " +
                 std::to_string(c.answers.back().status) + " " + c.answers.back().body);
    const TempDir dir;
    const fs::path folder = make_report(dir);
    FakeHttpClient http(c.answers);
    CaptureLog log;
    const UploadResult outcome = upload_report({http, &log.logger}, record(), folder);
    EXPECT_EQ(outcome.result, c.result);
    EXPECT_EQ(outcome.httpStatus, c.http_status);
    EXPECT_EQ(outcome.error, c.error);
    EXPECT_EQ(log.lines, std::vector<std::string>{"3 Upload failed: " + c.error + " (http " +
                                                  std::to_string(c.http_status) + ")"});
    EXPECT_EQ(http.requests.size(), c.answers.size());
    EXPECT_TRUE(fs::exists(folder / "WrenfallCrash.zip"));
  }
}

TEST(Uploader, TakesTheIdsOfTheCommit) {
  struct Case {
    std::string members;
    int64_t crash_id, stack_key_id, message_id;
    std::string info_url;
  };
  const Case cases[] = {
      {"", 0, 0, 0, ""},
      {R"(,"crashId":1,"stackKeyId":2,"messageId":3,"infoUrl":"https://i/é")", 1, 2, 3,
       "https://i/é"},
      {R"(,"crashId":-1,"stackKeyId":9223372036854775807)", -1, INT64_MAX, 0, ""},
      {R"(,"crashId":12.99,"stackKeyId":-12.99,"messageId":1e3)", 12, -12, 1000, ""},
      {R"(,"infoUrl":5)", 0, 0, 0, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.members);
    const TempDir dir;
    const fs::path folder = make_report(dir);
    put_file(folder / "WrenfallCrash.zip", "of an earlier attempt");
    FakeHttpClient http(
        {kLocated, kStored, answer(200, R"({"status":"success")" + c.members + "}")});
    CaptureLog log;
    const UploadResult outcome = upload_report({http, &log.logger}, record(), folder);
    EXPECT_EQ(outcome.result, WRENFALL_OK);
    EXPECT_EQ(outcome.httpStatus, 200);
    EXPECT_EQ(outcome.status, "success");
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.crashId, c.crash_id);
    EXPECT_EQ(outcome.stackKeyId, c.stack_key_id);
    EXPECT_EQ(outcome.messageId, c.message_id);
    EXPECT_EQ(outcome.infoUrl, c.info_url);
    EXPECT_EQ(log.lines,
              std::vector<std::string>{"1 Crash uploaded: crashId=" + std::to_string(c.crash_id) +
                                       " stackKeyId=" + std::to_string(c.stack_key_id) +
                                       " infoUrl=" + c.info_url});
    EXPECT_FALSE(fs::exists(folder / "WrenfallCrash.zip"));
    EXPECT_TRUE(fs::exists(folder / "x.dmp"));
  }
}

TEST(Uploader, IdsOfAnotherTypeRaiseTheTypeError) {
  for (const char* value : {"\"7\"", "null", "true", "[7]", "{}"}) {
    for (const char* id : {"crashId", "stackKeyId", "messageId"}) {
      const TempDir dir;
      FakeHttpClient http(
          {kLocated, kStored,
           answer(200, std::string(R"({"status":"success",")") + id + "\":" + value + "}")});
      try {
        upload_report({http, nullptr}, record(), make_report(dir));
        ADD_FAILURE() << "nothing thrown for " << id << " " << value;
      } catch (const nlohmann::json::type_error& error) {
        EXPECT_NE(std::string(error.what()).find("type must be number, but is "), std::string::npos)
            << error.what();
      }
    }
  }
}

TEST(Uploader, IncompleteRecordsTouchNothing) {
  std::string CrashData::*const required[] = {&CrashData::database, &CrashData::appName,
                                              &CrashData::appVersion, &CrashData::crashTypeId};
  for (const auto field : required) {
    const TempDir dir;
    const fs::path folder = make_report(dir);
    CrashData data = record();
    data.*field = "";
    FakeHttpClient http({});
    CaptureLog log;
    const UploadResult outcome = upload_report({http, &log.logger}, data, folder);
    EXPECT_EQ(outcome.result, WRENFALL_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(outcome.error, "database, appName, appVersion and crashTypeId are required");
    EXPECT_EQ(log.lines,
              std::vector<std::string>{"3 Upload failed: " + outcome.error + " (http 0)"});
    EXPECT_FALSE(fs::exists(folder / "WrenfallCrash.zip"));
  }
}

TEST(Uploader, FailsWithoutAnArchiveAndSendsAnEmptyOne) {
  const TempDir dir;
  FakeHttpClient unused({});
  CaptureLog log;
  const UploadResult failed = upload_report({unused, &log.logger}, record(), dir / "missing");
  EXPECT_EQ(failed.result, WRENFALL_ERROR_FILE);
  EXPECT_EQ(failed.httpStatus, 0);
  EXPECT_EQ(log.lines,
            std::vector<std::string>{"3 Upload failed: could not create the report zip (http 0)"});

  FakeHttpClient http({kLocated, kStored, answer(200, R"({"status":"success"})")});
  EXPECT_EQ(upload_report({http, nullptr}, record(), dir.make_folder("empty")).result, WRENFALL_OK);
  ASSERT_EQ(http.requests.size(), 3u);
  EXPECT_EQ(http.requests[1].body.size(), 22u);
}

}  // namespace
}  // namespace wrenfall
