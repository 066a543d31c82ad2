#include "fleet/fleet.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <utility>

#include "report/store/report_limit.h"
#include "report/store/resend_schedule.h"

namespace wrenfall::fleet {
namespace {

constexpr ReportLimit kRecommendedLimit = {10, 600};

// One second after the other; counts the requests of each.
class Seconds {
 public:
  explicit Seconds(Run& run) : run_(run) {}

  // The number of the request in its second, from 1.
  int64_t add(int64_t second) {
    auto& requests = run_.requests;
    if (static_cast<size_t>(second) >= requests.size()) {
      requests.resize(static_cast<size_t>(second) + 1);
    }
    return ++requests[static_cast<size_t>(second)];
  }

 private:
  Run& run_;
};

int64_t when_most_arrived(std::vector<int64_t> arrivals, size_t reports) {
  const size_t most = reports - reports / 20;
  if (arrivals.size() < most) return -1;
  std::nth_element(arrivals.begin(), arrivals.begin() + static_cast<std::ptrdiff_t>(most) - 1,
                   arrivals.end());
  return arrivals[most - 1];
}

}  // namespace

int32_t Run::peak(int64_t from) const {
  const auto begin = requests.begin() +
                     std::min<std::ptrdiff_t>(from, static_cast<std::ptrdiff_t>(requests.size()));
  return begin == requests.end() ? 0 : *std::max_element(begin, requests.end());
}

Run send_reports(const std::vector<int64_t>& made, const Service& service, const Variant& variant) {
  Run run;
  Seconds seconds(run);
  std::vector<RetryState> states(made.size());
  std::vector<int64_t> arrivals;
  using Attempt = std::pair<int64_t, size_t>;  // the second, the client
  std::priority_queue<Attempt, std::vector<Attempt>, std::greater<>> attempts;
  for (size_t client = 0; client < made.size(); ++client) attempts.emplace(made[client], client);
  while (!attempts.empty()) {
    const auto [now, client] = attempts.top();
    attempts.pop();
    const Answer answer = service(now, seconds.add(now));
    if (answer.accepted) {
      arrivals.push_back(now);
      continue;
    }
    RetryState& state = states[client];
    state = after_failed_attempt(state, answer.retry_after, now);
    if (is_given_up(state, now)) {
      ++run.lost;
      continue;
    }
    const std::string id = variant.spread ? "report " + std::to_string(client) : "the same for all";
    attempts.emplace(due_time(state, id), client);
  }
  run.delivered = static_cast<int64_t>(arrivals.size());
  run.most_of_them_at = when_most_arrived(std::move(arrivals), made.size());
  return run;
}

Run crash_in_a_loop(const CrashLoop& loop, const Variant& variant) {
  Run run;
  Seconds seconds(run);
  for (const int64_t start : loop.first_starts) {
    ReportCounts counts;
    for (int64_t now = start; now < loop.end; now += loop.period_s) {
      if (variant.limit && !admit(counts, kRecommendedLimit, now)) {
        ++run.dropped;
      } else {
        seconds.add(now);
        ++run.delivered;
      }
    }
  }
  return run;
}

}  // namespace wrenfall::fleet
