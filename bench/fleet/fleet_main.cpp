// What the rules of resending and the limit of reports mean for a service with a million clients.
// Prints a table, and writes a picture where a path is given.
#include <cstdio>
#include <random>

#include "fleet/fleet.h"

namespace wrenfall::fleet {
namespace {

constexpr int64_t kClients = 1'000'000;
constexpr int64_t kMinute = 60;
constexpr int64_t kHour = 60 * kMinute;

constexpr Variant kAsItIs = {"as it is"};
constexpr Variant kNoSpread = {"without spread", false};
constexpr Variant kNoLimit = {"without limit", true, false};

// That many moments in a stretch of time, always the same ones.
std::vector<int64_t> moments(int64_t count, int64_t begin, int64_t end) {
  std::mt19937_64 random(4711);
  std::vector<int64_t> times;
  for (int64_t i = 0; i < count; ++i) {
    times.push_back(begin + static_cast<int64_t>(random() % static_cast<uint64_t>(end - begin)));
  }
  return times;
}

void print(const char* story, const Variant& variant, const Run& run, int64_t peak_from,
           int64_t since) {
  std::printf("%-12s %-16s peak %8d/s", story, variant.name, static_cast<int>(run.peak(peak_from)));
  if (run.most_of_them_at > 0) {
    std::printf("  95 %% after %6.2f h", static_cast<double>(run.most_of_them_at - since) / kHour);
  }
  std::printf("  delivered %8lld  lost %lld  dropped %lld\n", static_cast<long long>(run.delivered),
              static_cast<long long>(run.lost), static_cast<long long>(run.dropped));
}

// The service is down for six hours. Half of the clients fail in the minute in which that begins, as
// after a fault that everybody meets; the others at any moment of it.
Run outage(const Variant& variant) {
  std::vector<int64_t> made = moments(kClients / 2, 0, kMinute);
  const std::vector<int64_t> others = moments(kClients / 2, 0, 6 * kHour);
  made.insert(made.end(), others.begin(), others.end());
  const Service service = [](int64_t second, int64_t) {
    Answer answer;
    answer.accepted = answer.answered = second >= 6 * kHour;
    return answer;
  };
  return send_reports(made, service, variant);
}

// A tenth of the clients gets a release that crashes at each start, and is started again every ten
// seconds for an hour.
Run bad_release(const Variant& variant) {
  CrashLoop loop;
  loop.first_starts = moments(kClients / 10, 0, 10 * kMinute);
  return crash_in_a_loop(loop, variant);
}

// The service takes 200 reports a second and answers 429 to all others. Every client makes a report in
// the same minute.
Run overload(const Variant& variant) {
  const Service service = [](int64_t, int64_t request) {
    Answer answer;
    answer.accepted = request <= 200;
    answer.retry_after = 10 * kMinute;
    return answer;
  };
  return send_reports(moments(kClients, 0, kMinute), service, variant);
}

int run(const char* picture) {
  const Run outages[] = {outage(kAsItIs), outage(kNoSpread)};
  print("outage", kAsItIs, outages[0], 6 * kHour, 6 * kHour);
  print("outage", kNoSpread, outages[1], 6 * kHour, 6 * kHour);
  const Run releases[] = {bad_release(kAsItIs), bad_release(kNoLimit)};
  print("bad release", kAsItIs, releases[0], 0, 0);
  print("bad release", kNoLimit, releases[1], 0, 0);
  const Run overloads[] = {overload(kAsItIs), overload(kNoSpread)};
  print("overload", kAsItIs, overloads[0], kMinute, 0);
  print("overload", kNoSpread, overloads[1], kMinute, 0);
  if (picture == nullptr) return 0;
  const std::vector<Panel> panels = {
      {"Requests a second: the service is down from 0 h to 6 h",
       24 * kHour,
       {{"without spread", &outages[1]}, {"as it is", &outages[0]}}},
      {"A release that crashes at each start, for an hour",
       2 * kHour,
       {{"without limit", &releases[1]}, {"as it is", &releases[0]}}},
      {"The service answers 429 above 200 a second",
       24 * kHour,
       {{"without spread", &overloads[1]}, {"as it is", &overloads[0]}}},
  };
  return write_picture(picture, panels) ? 0 : 1;
}

}  // namespace
}  // namespace wrenfall::fleet

int main(int argc, char** argv) { return wrenfall::fleet::run(argc > 1 ? argv[1] : nullptr); }
