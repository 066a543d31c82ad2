#ifndef WRENFALL_COMPANIONS_REPORTER_REPORT_QUEUE_H_
#define WRENFALL_COMPANIONS_REPORTER_REPORT_QUEUE_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "report/store/crash_data.h"
#include "support/logger.h"

namespace wrenfall::reporter {

// The right to work on the reports of one store and one policy. One process holds it at a time, and
// loses it when it ends, however that happens.
class ReporterLock {
 public:
  virtual ~ReporterLock() = default;
  // False while another process holds the lock.
  virtual bool try_take() = 0;
  virtual void release() = 0;
  // The id of the process that holds the lock; 0 when it cannot be read at the moment.
  virtual uint64_t holder() = 0;
};

// Lets one reporter work on the reports of a store, one after the other. The monitor starts a
// reporter for each report. The first takes the lock; the others make it the owner of their report,
// and end. Before it ends, the holder of the lock looks for reports that it owns, and for reports
// that a monitor or reporter left behind when it was killed. A report without an owner is its business
// only when it was started to ask about those, too: the user closed the dialog on it, for example.
//
// No report is overlooked. Who hands a report over checks afterwards that the same process still
// holds the lock; the holder looks once more after it has released the lock. So one of the two sees
// the report in any order of these steps. When the holder is killed, the report is pending.
class ReportQueue {
 public:
  struct Steps {
    // Works on one report. False when the others are to be left for the host's next start.
    std::function<bool(const std::filesystem::path& folder)> serve;
    // Told after a report was handed over to that process.
    std::function<void(uint64_t process)> on_handed_over;
    // Waits a moment before the lock is asked again.
    std::function<void()> pause;
  };

  // The lock and the logger outlive the queue.
  ReportQueue(std::filesystem::path store, std::string policy, ReporterLock& lock, Steps steps,
              Logger& logger);

  // Works on that report and on those that wait, or hands the report over.
  void run(const std::filesystem::path& first);

  // Works on all reports that wait for the user's answer, the newest first, or hands them over. For the
  // policy "dialog".
  void run_asking();

  // How many reports wait for this process, besides those that it has begun to work on.
  size_t count_waiting() const { return waiting().size(); }

 private:
  void work_on(std::vector<std::filesystem::path> reports);
  bool is_ours(const std::filesystem::path& folder) const;
  std::vector<std::filesystem::path> waiting() const;
  bool serve_all(std::vector<std::filesystem::path> reports);
  bool hand_over(const std::vector<std::filesystem::path>& reports);

  const std::filesystem::path store_;
  const std::string policy_;
  ReporterLock& lock_;
  const Steps steps_;
  Logger& logger_;
  bool asks_ = false;  // also about reports without an owner
  std::set<std::filesystem::path> begun_;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_REPORT_QUEUE_H_
