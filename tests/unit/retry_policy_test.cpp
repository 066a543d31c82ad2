#include "report/retry_policy.h"

#include <gtest/gtest.h>

#include <optional>

#include "support/scrub.h"
#include "tests/support/capture_log.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

struct Case {
  int32_t http_status;
  std::optional<int32_t> retry_count;  // none: no record is given
  bool delete_now;
  std::optional<int32_t> kept_with;  // none: deleted
  std::string logged;                // "@" stands for the folder
};

void check(const Case& c, bool logs) {
  const TempDir dir;
  const auto folder = dir.make_folder("report");
  CrashData record;
  record.user = "jane";
  ASSERT_TRUE(save(folder, record));
  put_file(folder / "sub" / "dump", "x");
  record.retryCount = c.retry_count.value_or(0);
  CaptureLog log;
  EXPECT_EQ(apply_retry_policy(folder, c.retry_count ? &record : nullptr, c.delete_now,
                               c.http_status, logs ? &log.logger : nullptr),
            !c.kept_with);
  std::vector<std::string> expected;
  if (logs && !c.logged.empty()) {
    expected = {std::string(c.logged).replace(c.logged.find('@'), 1,
                                              scrub_user_names(path_to_utf8(folder)))};
  }
  EXPECT_EQ(log.lines, expected);
  EXPECT_EQ(std::filesystem::exists(folder), c.kept_with.has_value());
  if (!c.kept_with) return;
  EXPECT_EQ(record.retryCount, *c.kept_with);
  CrashData stored;
  ASSERT_TRUE(load(folder, stored));
  EXPECT_EQ(stored.retryCount, *c.kept_with);
  EXPECT_EQ(stored.user, "jane");
}

TEST(RetryPolicy, KeepsOrDeletes) {
  const auto again = [](int32_t count) {
    return "1 Incremented retry count to " + std::to_string(count) + " for @";
  };
  const auto exceeded = [](const std::string& count) {
    return "1 Report exceeded max retries (" + count + "/3): @ - deleting";
  };
  std::vector<Case> cases = {
      {503, 1, false, 2, again(2)},
      {503, 2, false, {}, exceeded("3")},
      {503, 3, false, {}, exceeded("4")},
      {503, INT32_MAX, false, {}, exceeded("2147483647")},
      {503, {}, false, 0, ""},
      {503, 0, true, {}, ""},
      {200, 0, true, {}, ""},
      {200, {}, true, {}, ""},
      {404, {}, false, {}, "1 Permanent HTTP error 404 - deleting report folder: @"}};
  for (const int32_t status : {500, 502, 503, 504})
    cases.push_back({status, 0, false, 1, again(1)});
  for (const int32_t status : {0, 200, 400, 408, 413, 429, 499, 501, 505}) {
    cases.push_back(
        {status,
         0,
         false,
         {},
         "1 Permanent HTTP error " + std::to_string(status) + " - deleting report folder: @"});
  }
  for (const Case& c : cases) {
    SCOPED_TRACE("status " + std::to_string(c.http_status) + ", count " +
                 std::to_string(c.retry_count.value_or(-1)) + (c.delete_now ? ", sent" : ""));
    check(c, true);
    check(c, false);
  }
}

TEST(RetryPolicy, KeepsAFolderWhoseCountCannotBeSaved) {
  const TempDir dir;
  const auto folder = dir.make_folder("report");
  std::filesystem::create_directories(folder / kCrashDataFile / "in the way");
  CrashData record;
  EXPECT_FALSE(apply_retry_policy(folder, &record, false, 503, nullptr));
  EXPECT_TRUE(std::filesystem::exists(folder));
}

}  // namespace
}  // namespace wrenfall
