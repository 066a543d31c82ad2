// What init and shutdown promise, where no real handler is needed.
#include <gtest/gtest.h>
#include <wrenfall/wrenfall.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "report/store/folder_claim.h"
#include "report/store/report_store.h"
#include "report/store/session_files.h"
#include "support/paths.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

class LifecycleTest : public ::testing::Test {
 protected:
  LifecycleTest() { put_file(dir_ / "companion", ""); }
  ~LifecycleTest() override { wrenfall_shutdown(); }

  wrenfall_result start(const fs::path& store) {
    wrenfall_options* const options = wrenfall_options_new("127", "Lifecycle", "1.0");
    const std::string companion = path_to_utf8(dir_ / "companion");
    wrenfall_options_set_store_dir(options, path_to_utf8(store).c_str());
    wrenfall_options_set_monitor_path(options, companion.c_str());
    wrenfall_options_set_reporter_path(options, companion.c_str());
    wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
    wrenfall_options_set_environment(options, "first");
    wrenfall_options_set_hang_detection(options, 60000, WRENFALL_HANG_REPORT);
    wrenfall_options_set_logger(options, log, this);
    return wrenfall_init(options);
  }

  static void log(wrenfall_log_level, const char* message, void* test) {
    auto& self = *static_cast<LifecycleTest*>(test);
    if (self.on_line_) self.on_line_(message);
  }

  static fs::path own_session(const fs::path& store) {
    return session_file(store, current_process());
  }

  const TempDir dir_;
  std::function<void(const std::string& message)> on_line_;
};

TEST_F(LifecycleTest, TheSessionFileIsThereAfterInitWhateverRemovedItMeanwhile) {
  const fs::path store = dir_ / "store";
  bool removed = false;
  on_line_ = [&](const std::string& message) {
    if (message.find("hang detection on") == 0) removed = fs::remove(own_session(store));
  };
  ASSERT_EQ(start(store), WRENFALL_OK);
  EXPECT_TRUE(removed);
  EXPECT_TRUE(fs::exists(own_session(store)));
  wrenfall_shutdown();
  EXPECT_FALSE(fs::exists(own_session(store)));
}

TEST_F(LifecycleTest, ARelativeStoreIsThatOfTheInitCall) {
  const fs::path before = fs::current_path();
  fs::current_path(dir_.path());
  const wrenfall_result started = start("relative");
  fs::current_path(before);
  ASSERT_EQ(started, WRENFALL_OK);
  EXPECT_TRUE(fs::path(wrenfall_log_file_path()).is_absolute());
  ASSERT_EQ(wrenfall_post_feedback("", "", nullptr, 0, nullptr), WRENFALL_OK);
  EXPECT_EQ(list_report_folders(dir_ / "relative").size(), 1u);
}

TEST_F(LifecycleTest, AnEnvironmentThatWasHandedOutStays) {
  ASSERT_EQ(start(dir_ / "store"), WRENFALL_OK);
  const char* const first = wrenfall_get_environment();
  EXPECT_EQ(wrenfall_set_environment("second, and longer than the first one was"), WRENFALL_OK);
  EXPECT_STREQ(first, "first");
  EXPECT_STREQ(wrenfall_get_environment(), "second, and longer than the first one was");
}

// An upload that is under way goes on after a shutdown and logs. A busy machine may run the sender only
// after the shutdown: then again, with more patience.
TEST_F(LifecycleTest, TheCallbackIsSilentAfterShutdown) {
  wrenfall_result result = WRENFALL_ERROR_NOT_INITIALIZED;
  bool called = false;
  for (int patience_ms = 200; result == WRENFALL_ERROR_NOT_INITIALIZED; patience_ms *= 5) {
    ASSERT_LT(patience_ms, 60000);
    on_line_ = nullptr;
    ASSERT_EQ(start(dir_ / "store"), WRENFALL_OK);
    ASSERT_EQ(wrenfall_post_feedback("", "", nullptr, 0, nullptr), WRENFALL_OK);
    const fs::path folder = list_report_folders(dir_ / "store").at(0);
    auto claim = FolderClaim::try_take(folder);
    std::thread sender([&] {
      result =
          wrenfall_send_report(path_to_utf8(folder).c_str(), nullptr, nullptr, nullptr, nullptr);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(patience_ms));
    wrenfall_shutdown();
    on_line_ = [&](const std::string&) { called = true; };
    claim.reset();
    sender.join();
  }
  EXPECT_FALSE(called);
  EXPECT_NE(file_text(dir_ / "store" / kLogFile).find("Report not sent"), std::string::npos);
}

}  // namespace
}  // namespace wrenfall
