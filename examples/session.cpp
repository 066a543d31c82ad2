// A host in C++, with wrenfall.hpp alone: a session, facts, a watched thread, a report of its own, and
// the reports that wait.
//
//   session STORE
#include <wrenfall/wrenfall.hpp>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "utf8_arguments.h"

namespace {

constexpr uint32_t kThresholdMs = 60000;
constexpr uint32_t kReports = 2;

// Tells of a failure; true on success.
bool check(const char* what, wrenfall::Result result) {
  if (!result) std::printf("%s: %s\n", what, result.message());
  return static_cast<bool>(result);
}

// A thread that gives signs of life, but for work that takes as long as it takes.
void work() {
  const wrenfall::WatchedThread watch("worker");
  check("watch", watch.result());
  watch.heartbeat();
  check("breadcrumb", wrenfall::Breadcrumb("work").add("the long part begins"));
  {
    const wrenfall::HangPause no_hang;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  watch.heartbeat();
}

wrenfall::Result report_of_its_own() {
  wrenfall::StructuredReport report;
  report.set_platform("x64", "windows").set_exception("E_SESSION", "an example");
  report.add_thread("main", true)
      .add_frame("report_of_its_own", "session.cpp", 1, "session.exe")
      .add_frame("main", "session.cpp", 2, "session.exe");
  wrenfall::UploadOutcome outcome;
  const wrenfall::Result posted = report.post(&outcome);
  std::printf("posted, HTTP status %d\n", static_cast<int>(outcome.record().http_status));
  return posted;
}

// The monitor makes the report of a dump a moment after the dump.
void wait_for_reports() {
  for (int i = 0; i < 600 && wrenfall::PendingReports().size() < kReports; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

void discard_reports_of_its_own() {
  for (const wrenfall::PendingReport report : wrenfall::PendingReports()) {
    const bool is_capture = std::strstr(report.json(), "\"capture\"") != nullptr;
    std::printf("pending: %s\n", is_capture ? "a capture" : "a report of its own");
    if (!is_capture) check("discard", report.discard());
  }
  std::printf("%u left\n", static_cast<unsigned>(wrenfall::PendingReports().size()));
}

}  // namespace

int main() {
  int argc = 0;
  char** const argv = utf8_arguments(&argc);
  if (argc != 2) {
    std::fputs("usage: session STORE\n", stderr);
    return 2;
  }
  const wrenfall::Session session(wrenfall::Options("127", "Session", "1.0")
                                      .store_dir(argv[1])
                                      .upload_policy(WRENFALL_UPLOAD_MANUAL)
                                      .hang_detection(kThresholdMs)
                                      .breadcrumbs(20)
                                      .retention(100, 30, 500ull * 1024 * 1024)
                                      .resend()
                                      .report_limit(10, 600)
                                      .attribute("language", "C++"));
  if (!check("init", session.result())) return 1;
  check("second session", wrenfall::Session({"127", "Session", "2.0"}).result());
  const wrenfall::LastRun last_run;
  check("last run", last_run.result());
  std::printf("last run: %u\n", static_cast<unsigned>(last_run.record().state));
  wrenfall::set_user("customer 4711").ignore();
  check("attribute without a name", wrenfall::set_attribute("", "value"));
  std::thread(work).join();
  check("capture", wrenfall::capture_report());
  check("post", report_of_its_own());
  wait_for_reports();
  discard_reports_of_its_own();
  return 0;
}
