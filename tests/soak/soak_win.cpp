// Uses the library for long and looks whether anything grows: so many cycles of init and shutdown,
// then so many seconds of mixed use from 16 threads. What this process holds is measured between two
// generations of threads, and must be flat over the second half of either phase.
#include <windows.h>
#include <wrenfall/wrenfall.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/process_figures_win.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

std::atomic<long> failures{0}, calls{0}, names{0};

void check(bool passed, const char* what, long figure = 0) {
  if (!passed && ++failures <= 50) std::printf("FAILED: %s (%ld)\n", what, figure);
}
void expect_ok(wrenfall_result result, const char* call, wrenfall_result also = WRENFALL_OK) {
  ++calls;
  check(result == WRENFALL_OK || result == also, call, result);
}

void start_library(const std::filesystem::path& store) {
  wrenfall_options* const options = wrenfall_options_new("127", "Load", "1.0");
  wrenfall_options_set_store_dir(options, store.u8string().c_str());
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
  wrenfall_options_set_hang_detection(options, 60000, WRENFALL_HANG_REPORT);
  expect_ok(wrenfall_init(options), "wrenfall_init");
}

void use_setters_once(const std::string& own, long round, const std::string& attachment) {
  const std::string name = own + "." + std::to_string(++names);
  expect_ok(wrenfall_set_attribute(name.c_str(), own.c_str()), "set an attribute");
  expect_ok(wrenfall_set_user(name.c_str()), "wrenfall_set_user");
  const std::string notes(static_cast<size_t>(round * 977) % 20481, 'h');
  expect_ok(wrenfall_set_notes(notes.c_str()), "wrenfall_set_notes");
  // Few texts: the library keeps every environment, which a host may still read.
  expect_ok(wrenfall_set_environment(round % 2 == 0 ? own.c_str() : nullptr), "set environment");
  wrenfall_set_quiet_mode(round % 2 == 0);
  wrenfall_heartbeat();
  if (round % 50 == 0) {  // files are slower than all the rest
    expect_ok(wrenfall_watch_thread(name.c_str()), "wrenfall_watch_thread");
    expect_ok(wrenfall_add_attachment(attachment.c_str()), "wrenfall_add_attachment");
    expect_ok(wrenfall_remove_attachment(attachment.c_str()), "wrenfall_remove_attachment");
    wrenfall_unwatch_thread();
  }
  expect_ok(wrenfall_set_attribute(name.c_str(), nullptr), "remove an attribute");
}

constexpr int kThreads = 16;

// A short run takes fewer samples, and judges handles and threads alone: memory takes minutes to
// find its size.
constexpr int kLongRunSeconds = 300, kLongRunCycles = 500;
constexpr size_t kColumnsOfAShortRun = 2;

struct Column {
  const char* name;
  double limit;  // of the growth over the second half
};
// The companions are the monitor and the handler together; each grows with the reports it makes
// until its heap has found its size.
constexpr std::array<Column, 5> kColumns{{{"handles", 8},
                                          {"threads", 2},
                                          {"private KiB", 1024},
                                          {"companions", 1.5},
                                          {"their KiB", 2048}}};
using Sample = std::array<long, kColumns.size()>;

Sample measure() {
  const Family now = family();
  long companions_kib = 0;
  for (const DWORD id : now.descendants) {
    const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, id);
    if (process == nullptr) continue;
    companions_kib += private_kib(process);
    CloseHandle(process);
  }
  return {count_handles(), now.threads, private_kib(GetCurrentProcess()),
          static_cast<long>(now.descendants.size()), companions_kib};
}

class Table {
 public:
  explicit Table(const char* clock) {
    std::printf("\n%10s", clock);
    for (const Column& column : kColumns) std::printf("%13s", column.name);
    std::printf("%12s\n", "calls");
  }

  void add(long when) {
    samples_.push_back(measure());
    std::printf("%10ld", when);
    for (const long figure : samples_.back()) std::printf("%13ld", figure);
    std::printf("%12ld\n", calls.load());
  }

  bool is_enough() const { return samples_.size() >= 8; }

  void judge(bool long_run) const {
    check(is_enough(), "enough samples to judge", static_cast<long>(samples_.size()));
    for (size_t column = 0; column < (long_run ? kColumns.size() : kColumnsOfAShortRun); ++column) {
      // What leaks grows from each quarter to the next. What the runtime keeps from the first time on
      // that threads meet in some way, a few handles, comes once, sooner or later.
      const double third = mean_of_quarter(2, column);
      const double grown =
          2 * std::min(third - mean_of_quarter(1, column), mean_of_quarter(3, column) - third);
      std::printf("%s: %+.1f over the second half, at most %.1f\n", kColumns[column].name, grown,
                  kColumns[column].limit);
      check(grown <= kColumns[column].limit, kColumns[column].name, static_cast<long>(grown));
    }
  }

 private:
  double mean_of_quarter(size_t quarter, size_t column) const {
    const size_t begin = samples_.size() * quarter / 4, end = samples_.size() * (quarter + 1) / 4;
    double sum = 0;
    for (size_t i = begin; i < end; ++i) sum += static_cast<double>(samples_[i][column]);
    return sum / static_cast<double>(std::max<size_t>(end - begin, 1));
  }

  std::vector<Sample> samples_;
};

void run_cycles(const fs::path& folder, int cycles) {
  Table table("cycle");
  const int cycles_per_sample = std::max(4, cycles / 50);
  for (int cycle = 1; cycle <= cycles; ++cycle) {
    start_library(folder / "store");
    use_setters_once("cycle", cycle, (folder / "attachment").u8string());
    // Well before a sample, which would else count the reporter of quiet mode or not.
    if (cycle % cycles_per_sample == cycles_per_sample / 2) {
      expect_ok(wrenfall_capture_report(), "capture");
    }
    wrenfall_shutdown();
    if (cycle % cycles_per_sample != 0) continue;
    // The handler before the present one comes to its end.
    wait_for([] { return family().descendants.size() <= 2; });
    table.add(cycle);
  }
  table.judge(cycles >= kLongRunCycles);
}

// There is no service: in quiet mode a post is sent, and fails.
void expect_post(wrenfall_result result, const char* call) {
  expect_ok(result, call, WRENFALL_ERROR_TRANSPORT);
}

void post_structured_report(long round) {
  wrenfall_report* const report = wrenfall_report_new(static_cast<uint32_t>(round % 2));
  wrenfall_report_set_exception(report, "0xE0000001", "soak");
  const int32_t thread = wrenfall_report_add_thread(report, "main", 1);
  for (int frame = 0; frame < 50; ++frame) {
    wrenfall_report_add_frame(report, thread, "soak.exe", "function", 1, "file.cpp", 4096);
  }
  expect_post(wrenfall_report_post(report, nullptr), "wrenfall_report_post");
  wrenfall_report_free(report);
}

// Another thread or a reporter may have taken a report of the list by now.
void discard_every_other_report() {
  wrenfall_report_list* const list = wrenfall_pending_reports();
  for (uint32_t i = 0; i < wrenfall_report_list_count(list); i += 2) {
    expect_ok(wrenfall_discard_report(wrenfall_report_list_folder(list, i)), "discard",
              WRENFALL_ERROR_FILE);
  }
  wrenfall_report_list_free(list);
}

// The process is suspended while a dump is written, which takes long on a busy machine.
void capture_now_and_then() {
  thread_local Clock::time_point next = Clock::now();
  const Clock::time_point start = Clock::now();
  if (start < next) return;
  expect_ok(wrenfall_capture_report(), "wrenfall_capture_report");
  next = Clock::now() + std::chrono::seconds(2) + 5 * (Clock::now() - start);
}

// How long the thread is to rest before its next round.
std::chrono::milliseconds use_once(int index, long round, const std::string& attachment) {
  using std::chrono::milliseconds;
  const std::string own = "soak" + std::to_string(index);
  if (index < 8) {
    use_setters_once(own, round, attachment + own);
    return milliseconds(1);
  }
  if (index < 10) capture_now_and_then();
  if (index == 10 || index == 11) post_structured_report(round);
  if (index == 12)
    expect_post(wrenfall_post_feedback("f", "words", nullptr, 0, nullptr), "feedback");
  if (index == 13) expect_post(wrenfall_post_asan_report("ERROR", nullptr), "asan");
  if (index == 14) discard_every_other_report();
  if (index == 15) expect_ok(wrenfall_post_pending_reports_async(), "post pending");
  // Setters wait while what 12 and 13 post is sent.
  return milliseconds(index == 12 || index == 13 ? 5000 : 300);
}

void run_mixed(const fs::path& folder, int seconds) {
  const std::chrono::seconds between_samples(std::max(2, seconds / 60));
  start_library(folder / "store");
  Table table("second");
  const std::string attachment = (folder / "file of ").u8string();
  const long idle_threads = family().threads;
  const Clock::time_point start = Clock::now();
  const auto second = [&start] {
    return static_cast<long>((Clock::now() - start) / std::chrono::seconds(1));
  };
  while (second() < seconds || !table.is_enough()) {
    const Clock::time_point end = Clock::now() + between_samples;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&attachment, end, i] {
        for (long round = 0; Clock::now() < end; ++round) {
          const auto rest = use_once(i, round, attachment);
          std::this_thread::sleep_until(std::min(Clock::now() + rest, end));
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    // Posts in the background, and reporters of quiet mode, come to their ends.
    wait_for([&] {
      const Family now = family();
      return now.threads <= idle_threads && now.descendants.size() <= 2;
    });
    table.add(second());
  }
  wrenfall_shutdown();
  table.judge(seconds >= kLongRunSeconds);
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  if (argc != 3) {
    std::puts("usage: soak_test CYCLES SECONDS (0 leaves a phase out)");
    return 2;
  }
  const fs::path folder =
      fs::temp_directory_path() / ("wrenfall soak " + std::to_string(GetCurrentProcessId()));
  fs::create_directories(folder);
  const int cycles = std::atoi(argv[1]), seconds = std::atoi(argv[2]);
  if (cycles > 0) run_cycles(folder, cycles);
  if (seconds > 0) run_mixed(folder, seconds);
  std::error_code error;
  fs::remove_all(folder, error);
  std::printf("%ld calls, %ld failures\n", calls.load(), failures.load());
  return failures == 0 ? 0 : 1;
}
