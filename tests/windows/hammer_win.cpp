// Hammers the library from 16 threads for the given number of seconds, then shortly and from one
// init to the next: nothing may fail, block, leak, or keep the last values out of the last report.
#include <windows.h>
#include <wrenfall/wrenfall.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/library_load.h"
#include "tests/support/process_figures_win.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

namespace {

constexpr int kThreads = 16, kCapturingThreads = 2, kBatches = 2, kRestarts = 8;
// A lock that is waited for for the first time gets a handle that it keeps, so a few come up now
// and then. What is lost at each restart, capture or thread is more, and comes up in every batch.
constexpr int kHandleAllowance = 2;
std::atomic<long> captures{0}, log_lines{0}, shutdown_lines{0};

std::string text_of(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void count_line(wrenfall_log_level, const char* message, void*) {
  ++log_lines;
  if (std::strcmp(message, "wrenfall shutdown") == 0) ++shutdown_lines;
}

void hammer_thread(int index, Clock::time_point end, const std::string& attachment) {
  const std::string own = "hammer" + std::to_string(index);
  Clock::time_point next_capture = Clock::now();
  for (long round = 0; Clock::now() < end; ++round) {
    use_setters_once(own, round, attachment + own);
    if (index >= kCapturingThreads || Clock::now() < next_capture) continue;
    expect_ok(wrenfall_capture_report(), "wrenfall_capture_report");
    ++captures;
    next_capture = Clock::now() + seconds(1);
  }
}

// The text of the record in the store that holds `part`; empty while there is none.
std::string find_record(const fs::path& store, const std::string& part) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(store, error)) {
    std::string text = text_of(entry.path() / "WrenfallCrashData.json");
    if (text.find(part) != std::string::npos) return text;
  }
  return std::string();
}

// A report holds what was set last, and nothing of the threads, which have been joined.
void capture_last_values(const fs::path& store, const std::string& user, const fs::path& file) {
  const std::string notes = "last notes " + std::string(kLongestNotes - 11, 'z');
  expect_ok(wrenfall_set_user(user.c_str()), "set the last user");
  expect_ok(wrenfall_set_notes(notes.c_str()), "set the last notes");
  expect_ok(wrenfall_set_environment("last environment"), "set the last environment");
  expect_ok(wrenfall_set_attribute("last name", "last value"), "set the last attribute");
  expect_ok(wrenfall_add_attachment(file.u8string().c_str()), "add the last attachment");
  wrenfall_set_quiet_mode(0);
  expect_ok(wrenfall_capture_report(), "the last capture");
  ++captures;
  std::string record;
  wait_for([&] { return !(record = find_record(store, "\"user\": \"" + user + "\"")).empty(); });
  for (const std::string& part :
       {"\"notes\": \"" + notes + "\"", std::string("\"environment\": \"last environment\""),
        std::string("\"last name\": \"last value\""), std::string("\"last.txt\""),
        std::string("\"uploadPolicy\": \"manual\"")}) {
    check(record.find(part) != std::string::npos, part.substr(0, 60).c_str());
  }
  check(record.find("hammer") == std::string::npos, "nothing of the threads is left");
  // The monitor logs a line for each report that it has made, for those sent since as well.
  const auto reports_made = [&store] {
    const std::string log = text_of(store / "Wrenfall.log"), line = "Report folder made";
    long made = 0;
    for (size_t at = 0; (at = log.find(line, at)) != std::string::npos; ++at) ++made;
    return made;
  };
  check(wait_for([&] { return reports_made() == captures; }), "reports made", reports_made());
}

void run_round(int duration, const fs::path& folder, const std::string& user) {
  start_library(folder / "store", count_line);
  std::ofstream(folder / "last.txt") << user;
  std::vector<std::thread> threads;
  const Clock::time_point end = Clock::now() + seconds(duration);
  const std::string attachment = (folder / "file of ").u8string();
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(hammer_thread, i, end, attachment);
  for (std::thread& thread : threads) thread.join();
  capture_last_values(folder / "store", user, folder / "last.txt");
  wrenfall_shutdown();
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  const int duration = argc == 2 ? std::atoi(argv[1]) : 0;
  check(duration > 0, "usage: hammer_test SECONDS");
  const fs::path folder =
      fs::temp_directory_path() /
      fs::u8path(u8"wrenfall hämmer Ω " + std::to_string(GetCurrentProcessId()));
  fs::remove_all(folder);  // of a run that was killed: process ids come again
  fs::create_directories(folder);
  run_round(duration, folder, "first last user");
  const int threads = count_threads(), first_handles = count_handles();
  check(first_handles > 0 && threads > 0, "handles and threads are counted");

  int handles = first_handles, least_growth = first_handles;
  for (int batch = 0; batch < kBatches; ++batch) {
    run_round(1, folder, "last user " + std::to_string(batch));
    for (int i = 0; i < kRestarts; ++i) {
      start_library(folder / "store", count_line);
      use_setters_once("restart", i, (folder / "last.txt").u8string());
      wrenfall_shutdown();
    }
    const int growth = count_handles() - handles;
    handles += growth;
    least_growth = std::min(least_growth, growth);
  }
  check(least_growth <= kHandleAllowance, "handles left in every batch, at least", least_growth);
  check(shutdown_lines == 1 + kBatches * (kRestarts + 1), "shutdown lines", shutdown_lines);
  // A thread that was joined may be counted for a moment longer.
  check(wait_for([&] { return count_threads() <= threads; }, 5), "threads left", count_threads());
  // What the capture handler of the last run holds open goes with the next run.
  std::error_code error;
  fs::remove_all(folder, error);
  std::printf("%ld calls, %ld names, %ld captures, %ld log lines\n", calls.load(), names.load(),
              captures.load(), log_lines.load());
  std::printf("handles %d -> %d, threads %d -> %d, failures %ld\n", first_handles, handles, threads,
              count_threads(), failures.load());
  return failures == 0 ? 0 : 1;
}
