#include "api/resending.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <string>

#include "api/boundary.h"
#include "api/sending_reports.h"
#include "report/store/consent.h"
#include "report/store/resend_schedule.h"
#include "support/clock.h"

namespace wrenfall {
namespace {

// A report that another process keeps is found at the next look. Waits that are no longer also keep a
// clock that is set, or a machine that slept, from delaying reports for long.
constexpr int64_t kLongestPause = int64_t{5} * 60;
constexpr int64_t kShortestPause = 5;
// As long as the service takes nothing, the thread asks less and less often.
constexpr int64_t kLongestPauseAfterFailure = int64_t{60} * 60;

// Decides how long the thread waits after each look.
class Pauses {
 public:
  explicit Pauses(const State& state) : id_(state.process.text()) {}

  std::chrono::seconds after(const DueReportsSent& sent) {
    if (sent.broke_off) {
      failures_ = after_failed_attempt(failures_, sent.retry_after_s, unix_now());
      return std::chrono::seconds(std::min(
          resend_delay(failures_, id_), std::max(kLongestPauseAfterFailure, sent.retry_after_s)));
    }
    failures_ = {};
    const int64_t rest = sent.next_due ? *sent.next_due - unix_now() : kLongestPause;
    return std::chrono::seconds(std::clamp(rest, kShortestPause, kLongestPause));
  }

 private:
  const std::string id_;
  RetryState failures_;  // in a row
};

// Logs each report that may not be sent once: it stays due, and every look meets it again.
class RefusalLog {
 public:
  void add(const DueReportsSent& sent, Logger& logger) {
    for (const std::filesystem::path& folder : sent.refused) {
      if (known_.insert(folder).second) log_no_consent(folder, logger);
    }
    if (sent.refused.empty()) known_.clear();
  }

 private:
  std::set<std::filesystem::path> known_;
};

DueReportsSent look(State& state, RefusalLog& refusals) {
  DueReportsSent sent;
  run_logged(state, "Sending kept reports", [&] {
    sent = send_due_reports(state);
    refusals.add(sent, state.logger);
    apply_retention(state);
  });
  return sent;
}

}  // namespace

void start_resending(const std::shared_ptr<State>& state) {
  if (!state->configuration.limits.resend) return;
  // The first look comes a moment after the start, which it must not slow down.
  state->resending.start(std::chrono::seconds(1),
                         [state, pauses = Pauses(*state), refusals = RefusalLog()]() mutable {
                           return pauses.after(look(*state, refusals));
                         });
}

}  // namespace wrenfall
