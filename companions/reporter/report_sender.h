#ifndef WRENFALL_COMPANIONS_REPORTER_REPORT_SENDER_H_
#define WRENFALL_COMPANIONS_REPORTER_REPORT_SENDER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "reporter/dialog_pages.h"
#include "reporter/owned_report.h"
#include "upload/http_client.h"

namespace wrenfall::reporter {

// Makes attempts to send one report, one after the other, each on a thread of its own. While an attempt
// runs, only that thread uses the report. All calls come from the thread that made the object.
class ReportSender {
 public:
  using MakeClient = std::function<std::unique_ptr<HttpClient>(UploadProgress)>;
  // Both are called on the sending thread: `on_progress` when one more thousandth has been sent,
  // `on_end` last of all.
  struct Listeners {
    std::function<void()> on_progress;
    std::function<void()> on_end;
  };

  ReportSender(OwnedReport& report, MakeClient make_client, Listeners listeners);
  // Waits for the attempt that runs.
  ~ReportSender();
  ReportSender(const ReportSender&) = delete;
  ReportSender& operator=(const ReportSender&) = delete;

  void start();
  // Ends the attempt. Too late once the service has all files, because it may have taken the report:
  // then nothing changes, and this returns false.
  bool cancel();
  SendingState state() const;
  // Waits for the attempt's end.
  SendOutcome finish();
  // Whether the last attempt was cancelled, and failed.
  bool was_cancelled() const;

 private:
  class Client;
  void run();
  void note_progress(uint64_t sent, uint64_t total);

  OwnedReport& report_;
  const MakeClient make_client_;
  const Listeners listeners_;
  std::thread thread_;
  SendOutcome outcome_;  // of the thread until it has ended

  mutable std::mutex mutex_;  // guards what follows
  SendingState state_;
  bool is_committing_ = false;
  HttpClient* client_ = nullptr;  // while an attempt runs
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_REPORT_SENDER_H_
