#ifndef WRENFALL_BENCH_FLEET_FLEET_H_
#define WRENFALL_BENCH_FLEET_FLEET_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace wrenfall::fleet {

// Many clients with one report each and one service, second by second. The clients decide with the
// library's own functions when they come back and when they give up. A client's host runs all the
// time, and a request takes no time: what is counted is how many come in each second.

struct Answer {
  bool accepted = false;
  bool answered = true;
  int64_t retry_after = 0;
};

// How the service answers the nth request (from 1) that comes in that second.
using Service = std::function<Answer(int64_t second, int64_t request)>;

struct Run {
  std::vector<int32_t> requests;  // a second, from the first one on
  int64_t delivered = 0;
  int64_t lost = 0;             // given up
  int64_t dropped = 0;          // never made, because of the limit of reports
  int64_t most_of_them_at = 0;  // by when 95 % of the reports had arrived

  int32_t peak(int64_t from = 0) const;
};

// What is done differently to see what it is good for.
struct Variant {
  const char* name;
  bool spread = true;  // without it every client waits equally long
  bool limit = true;   // without it every crash makes a report
};

// `made` says at which second each client makes its report.
Run send_reports(const std::vector<int64_t>& made, const Service& service, const Variant& variant);

// Clients that crash every so many seconds from their first start on, until the end: each crash makes
// a report within the recommended limit, which is sent at once.
struct CrashLoop {
  std::vector<int64_t> first_starts;
  int64_t period_s = 10;
  int64_t end = 3600;
};
Run crash_in_a_loop(const CrashLoop& loop, const Variant& variant);

// One picture: for each panel the requests a second of each of its runs, on a logarithmic scale.
struct Panel {
  std::string title;
  int64_t seconds;  // how much of the runs is shown
  std::vector<std::pair<std::string, const Run*>> runs;
};
bool write_picture(const std::string& path, const std::vector<Panel>& panels);

}  // namespace wrenfall::fleet

#endif  // WRENFALL_BENCH_FLEET_FLEET_H_
