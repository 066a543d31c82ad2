// Many threads use the whole library at once, for the sanitizers to watch.
#include <atomic>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <mutex>
#include <set>
#include <thread>

#include "report/store/folder_claim.h"
#include "report/store/report_store.h"
#include "support/process.h"
#include "tests/native/library_test.h"

namespace wrenfall {
namespace {

constexpr int kThreads = 6;
constexpr int kRounds = 60;
constexpr int kRestarts = 25;
constexpr int kCallsBetweenRestarts = 50;

class ThreadsTest : public LibraryTest {
 protected:
  ThreadsTest() { put_file(dir_ / "attachment", "text"); }

  wrenfall_result start(uint32_t policy) {
    wrenfall_options* const options = this->options(policy);
    // Ticks often and, with signs of life now and then, reports a hang.
    wrenfall_options_set_hang_detection(options, 50, WRENFALL_HANG_REPORT);
    wrenfall_options_set_logger(options, count_line, this);
    return wrenfall_init(options);
  }

  // Each result of a call that may come before an init or after a shutdown.
  void expect_result(wrenfall_result result) {
    if (result == WRENFALL_OK) ++served_;
    if (result != WRENFALL_OK && result != WRENFALL_ERROR_NOT_INITIALIZED) ++unexpected_;
  }

  void post_and_list(int round) {
    wrenfall_upload_result result{};
    result.size = sizeof result;
    const std::string file = path_to_utf8(dir_ / "attachment");
    const char* const attachments[] = {file.c_str()};
    const wrenfall_result posted = wrenfall_post_feedback("title", "text", attachments, 1, &result);
    // Without a network a report that is sent at once does not arrive.
    if (posted != WRENFALL_ERROR_TRANSPORT) expect_result(posted);
    if (posted == WRENFALL_OK) ++stored_;
    wrenfall_upload_result_free(&result);
    wrenfall_report_list* const list = wrenfall_pending_reports();
    const uint32_t count = wrenfall_report_list_count(list);
    if (round % 3 == 0 && count > 0) {
      const char* const folder = wrenfall_report_list_folder(list, count - 1);
      // Of two threads that discard a report at once, both may be told that it is gone.
      const std::string name = folder;
      const bool discarded = wrenfall_discard_report(folder) == WRENFALL_OK;
      const std::lock_guard<std::mutex> lock(mutex_);
      if (discarded) discarded_.insert(name);
    }
    wrenfall_report_list_free(list);
  }

  void use_library(int thread) {
    const std::string own = "thread" + std::to_string(thread);
    for (int round = 0; restarting_ || round < kRounds; ++round) {
      const std::string value = own + "." + std::to_string(round);
      expect_result(wrenfall_set_attribute(own.c_str(), value.c_str()));
      expect_result(wrenfall_set_user(value.c_str()));
      expect_result(wrenfall_set_environment(round % 2 == 0 ? own.c_str() : nullptr));
      expect_result(wrenfall_watch_thread(own.c_str()));
      wrenfall_heartbeat();
      expect_result(wrenfall_add_attachment(own.c_str()));
      expect_result(wrenfall_remove_attachment(own.c_str()));
      expect_result(wrenfall_capture_report());
      wrenfall_set_quiet_mode(round % 2);
      if (round % 5 == 0) post_and_list(round);
      wrenfall_unwatch_thread();
      expect_result(wrenfall_set_attribute(own.c_str(), nullptr));
    }
  }

  void run_threads(int restarts) {
    restarting_ = restarts > 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back([this, i] { use_library(i); });
    for (int i = 0; i < restarts; ++i) {
      const int enough = served_ + kCallsBetweenRestarts;
      while (served_ < enough) std::this_thread::yield();
      wrenfall_shutdown();
      expect_result(start(WRENFALL_UPLOAD_MANUAL));
    }
    restarting_ = false;
    for (std::thread& thread : threads) thread.join();
  }

  void expect_what_was_stored() {
    EXPECT_EQ(unexpected_, 0);
    EXPECT_FALSE(discarded_.empty());
    EXPECT_EQ(list_report_folders(store_).size(), size_t(stored_) - discarded_.size());
  }

  static void count_line(wrenfall_log_level, const char*, void* test) {
    ++static_cast<ThreadsTest*>(test)->log_lines_;  // the logger's own mutex is enough
  }

  int log_lines_ = 0;
  std::mutex mutex_;
  std::set<std::string> discarded_;  // guarded by mutex_
  std::atomic<bool> restarting_{false};
  std::atomic<int> unexpected_{0}, stored_{0}, served_{0};
};

TEST_F(ThreadsTest, StoreEveryReportOnce) {
  ASSERT_EQ(start(WRENFALL_UPLOAD_MANUAL), WRENFALL_OK);
  run_threads(0);
  EXPECT_EQ(stored_, kThreads * (kRounds / 5));
  expect_what_was_stored();
}

TEST_F(ThreadsTest, SendAndForgetWithoutANetwork) {
  ASSERT_EQ(start(WRENFALL_UPLOAD_QUIET), WRENFALL_OK);
  run_threads(0);
  EXPECT_EQ(unexpected_, 0);
  EXPECT_TRUE(list_report_folders(store_).empty());
}

TEST_F(ThreadsTest, StayWellWhileTheLibraryStopsAndStarts) {
  ASSERT_EQ(start(WRENFALL_UPLOAD_MANUAL), WRENFALL_OK);
  run_threads(kRestarts);
  expect_what_was_stored();
}

// Nobody else may take a report that a thread of this process is posting, and a host that asks again
// and again to have its reports sent must not end up with a thread for each time.
TEST_F(ThreadsTest, OneThreadWorksOnAReport) {
  ASSERT_EQ(start(WRENFALL_UPLOAD_MANUAL), WRENFALL_OK);
  ASSERT_EQ(wrenfall_post_feedback("title", "text", nullptr, 0, nullptr), WRENFALL_OK);
  const auto folders = list_report_folders(store_);
  ASSERT_EQ(folders.size(), 1u);
  const auto count_pending = [] {
    wrenfall_report_list* const list = wrenfall_pending_reports();
    const uint32_t count = wrenfall_report_list_count(list);
    wrenfall_report_list_free(list);
    return count;
  };
  {
    const FolderClaim claim(folders[0]);
    EXPECT_EQ(count_pending(), 1u);
    for (int i = 0; i < 300; ++i) EXPECT_EQ(wrenfall_post_pending_reports_async(), WRENFALL_OK);
    const auto threads = [] {
      const std::filesystem::directory_iterator tasks("/proc/self/task");
      return std::distance(begin(tasks), end(tasks));
    };
    // The threads that are not needed end at once, the one that is waits for the claim.
    for (int i = 0; i < 500 && threads() > 20; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_LE(threads(), 20);
    CrashData record;
    ASSERT_TRUE(load(folders[0], record));
    record.ownerPid = current_process_id();
    ASSERT_TRUE(save(folders[0], record));
    EXPECT_EQ(count_pending(), 0u);
  }
  // The thread at work looks at the report too, with the claim in its hands, and may do so twice.
  uint32_t pending = 0;
  for (int i = 0; i < 500 && pending == 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    pending = count_pending();
  }
  EXPECT_EQ(pending, 1u);
}

}  // namespace
}  // namespace wrenfall
