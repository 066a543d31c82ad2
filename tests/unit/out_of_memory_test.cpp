// Sending a report while memory runs out: it is neither lost nor sent a second time.
#include <gtest/gtest.h>

#include <new>

#include "report/delivery.h"
#include "report/store/layout.h"
#include "support/files.h"
#include "tests/support/failing_new.h"
#include "tests/support/fake_http_client.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

// A service that takes every report, and memory that ends some allocations after the commit.
class Service : public HttpClient {
 public:
  explicit Service(long allocations_after_commit)
      : allocations_after_commit_(allocations_after_commit) {}

  HttpResponse request(const std::string&, const std::string& url, const HttpHeaders&,
                       const std::string&) override {
    if (url.find("getCrashUploadUrl") != std::string::npos) {
      return success(R"({"status":"success","url":"https://bucket/key"})");
    }
    HttpResponse response = success(R"({"status":"success","crashId":1})");
    committed = true;
    if (allocations_after_commit_ >= 0) allocations_left = allocations_after_commit_;
    return response;
  }
  HttpResponse request_file(const std::string&, const std::string&, const HttpHeaders&,
                            const fs::path&) override {
    return success("");
  }

  bool committed = false;

 private:
  static HttpResponse success(const char* body) {
    HttpResponse response;
    response.result = WRENFALL_OK;
    response.status = 200;
    response.body = body;
    return response;
  }

  const long allocations_after_commit_;
};

// Sends a report once. Memory ends some allocations after the begin, or after the commit, or does not
// hold large pieces.
struct Attempt {
  Attempt(long after_begin, long after_commit, size_t largest = SIZE_MAX) : service(after_commit) {
    const fs::path folder = dir.make_folder("report");
    put_file(folder / kReportDumpFile, std::string(20000, 'x'));
    CrashData record;
    record.database = record.appName = record.appVersion = record.crashTypeId = "1";
    save(folder, record);
    Logger log(folder / kLogFile);
    allocations_left = after_begin;
    largest_allocation = largest;
    try {
      completed = deliver(&service, folder, record, log, log).result == WRENFALL_OK;
    } catch (const std::bad_alloc&) {
    }
    memory_ended = allocation_failed.exchange(false);
    allocations_left = -1;
    largest_allocation = SIZE_MAX;
    CrashData kept;
    pending = load(folder, kept) && !path_exists(folder / kResultFile);
  }

  const TempDir dir;
  Service service;
  bool completed = false;
  bool memory_ended = false;
  bool pending = false;
};

class OutOfMemory : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { one_allocation_fails = GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(OneOrAll, OutOfMemory, ::testing::Bool());

TEST_P(OutOfMemory, BeforeTheCommitTheReportStaysPending) {
  for (long left = 0;; ++left) {
    const Attempt attempt(left, -1);
    EXPECT_EQ(attempt.pending, !attempt.service.committed) << "after " << left << " allocations";
    if (attempt.completed && !attempt.memory_ended) break;
    ASSERT_LT(left, 5000);
  }
}

TEST_P(OutOfMemory, AfterTheCommitTheReportIsNotSentAgain) {
  for (long left = 0;; ++left) {
    const Attempt attempt(-1, left);
    EXPECT_TRUE(attempt.service.committed);
    EXPECT_FALSE(attempt.pending) << "after " << left << " allocations";
    if (attempt.completed && !attempt.memory_ended) break;
    ASSERT_LT(left, 5000);
  }
}

TEST(LargeFileWithoutMemory, IsNoFailureOfTheReport) {
  const Attempt attempt(-1, -1, 16000);  // the dump has 20,000 bytes
  EXPECT_TRUE(attempt.memory_ended);
  EXPECT_TRUE(attempt.pending);
}

TEST(RequestWithoutMemory, IsNoFailureOfTheReport) {
  // Which request lacks memory, whether its status arrived, and whether the report stays.
  const struct {
    int request;
    bool answered;
    bool stays;
  } rows[] = {
      {0, false, true}, {0, true, true}, {1, false, true}, {2, false, true}, {2, true, false}};
  for (const auto& row : rows) {
    const TempDir dir;
    CrashData record;
    record.database = record.appName = record.appVersion = record.crashTypeId = "1";
    ASSERT_TRUE(save(dir.path(), record));
    std::vector<HttpResponse> answers = {
        answer(200, R"({"url":"https://bucket/k","status":"success"})"), answer(200, ""),
        answer(200, R"({"status":"success"})")};
    HttpResponse& lacking = answers[static_cast<size_t>(row.request)];
    lacking = row.answered ? answer(200, "") : no_answer("out of memory");
    lacking.out_of_memory = true;
    FakeHttpClient http(answers);
    Logger log;
    deliver(&http, dir.path(), record, log, log);
    EXPECT_EQ(path_exists(dir / kCrashDataFile), row.stays) << row.request << row.answered;
  }
  const TempDir dir;
  CrashData record;
  ASSERT_TRUE(save(dir.path(), record));
  Logger log;
  deliver(nullptr, dir.path(), record, log, log);
  EXPECT_TRUE(path_exists(dir / kCrashDataFile)) << "without a client";
}

}  // namespace
}  // namespace wrenfall
