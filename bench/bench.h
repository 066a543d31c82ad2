#ifndef WRENFALL_BENCH_BENCH_H_
#define WRENFALL_BENCH_BENCH_H_

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

// Measures an operation of the library beside its limit: the bare system calls that it cannot do without.
namespace bench {

// Budgets that are no ratio: see print_figure.
inline constexpr double kNoBudget = 0;

inline double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// Nanoseconds that one of `repeats` calls takes.
inline double time_of(const std::function<void()>& call, int repeats) {
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < repeats; ++i) call();
  const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - begin;
  return taken.count() / repeats;
}

// The times of rounds in which limit and operation took turns, in nanoseconds.
struct Rounds {
  std::vector<double> limits;
  std::vector<double> operations;
};

// One line for the script that collects them: the operation, its size (what that counts is part of the
// name), the times of limit and operation in microseconds, the median, least and largest of their
// ratios, and the ratio that is allowed.
inline void print(const std::string& operation, double size, double budget, const Rounds& rounds) {
  std::vector<double> ratios;
  for (size_t i = 0; i < rounds.limits.size(); ++i) {
    ratios.push_back(rounds.operations[i] / rounds.limits[i]);
  }
  const auto [least, largest] = std::minmax_element(ratios.begin(), ratios.end());
  std::printf("bench|%s|%.0f|%.3f|%.3f|%.3f|%.3f|%.3f|%.2f\n", operation.c_str(), size,
              median(rounds.limits) / 1000, median(rounds.operations) / 1000, median(ratios),
              *least, *largest, budget);
  std::fflush(stdout);
}

// Something else than a ratio of times, in a unit of its own.
inline void print_figure(const std::string& name, double value, const char* unit, double budget) {
  std::printf("figure|%s|%.4f|%s|%.4f\n", name.c_str(), value, unit, budget);
  std::fflush(stdout);
}

struct Plan {
  int rounds = 11;
  int repeats = 1;  // calls a round; short calls need many
};

// Limit and operation take turns, so that a machine that is busy for a while is so for both. The ratio
// is the median of the rounds' ratios.
inline void compare(const std::string& operation, double size, double budget, Plan plan,
                    const std::function<void()>& limit, const std::function<void()>& call) {
  time_of(limit, 1);
  time_of(call, 1);
  Rounds times;
  for (int round = 0; round < plan.rounds; ++round) {
    times.limits.push_back(time_of(limit, plan.repeats));
    times.operations.push_back(time_of(call, plan.repeats));
  }
  print(operation, size, budget, times);
}

}  // namespace bench

#endif  // WRENFALL_BENCH_BENCH_H_
