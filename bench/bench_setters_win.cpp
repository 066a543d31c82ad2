// Setters, breadcrumbs and heartbeats of a running library, called as a host calls them.
#include <windows.h>
// After <windows.h>.
#include <client/annotation.h>
#include <wrenfall/wrenfall.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "bench/bench.h"
#include "bench/library.h"

namespace {

std::atomic<long long> allocations{0};

constexpr int kHeldAttributes = 64, kThreads = 16;

// What a setter cannot do without: a lock, a look-up, a copy for the host's own reports and one for
// the dump.
class BareSetter {
 public:
  void set(const std::string& key, const char* value) {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto& holder = holders_[key];
    if (!holder) holder = std::make_unique<Holder>();
    holder->fact = value;
    const size_t size = holder->fact.size();
    std::memcpy(holder->bytes, holder->fact.data(), size);
    holder->annotation.SetSize(static_cast<uint32_t>(size));
  }

 private:
  struct Holder {
    std::string fact;
    char bytes[4096] = {};
    crashpad::Annotation annotation{crashpad::Annotation::Type::kString, "bench", bytes};
  };
  std::mutex mutex_;
  std::map<std::string, std::unique_ptr<Holder>> holders_;
};

// What breadcrumbs cannot do without where threads share one list: a lock and a copy, or zeros in place
// of all texts, so that none is in a later dump.
class BareBreadcrumbs {
 public:
  void add(const char* message) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Entry& entry = entries_[next_++ % kEntries];
    entry.time = std::chrono::system_clock::now();
    std::memcpy(entry.message, message, std::min(std::strlen(message) + 1, sizeof entry.message));
  }

  void clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    next_ = 0;
    for (Entry& entry : entries_) std::memset(entry.message, 0, sizeof entry.message);
  }

 private:
  static constexpr size_t kEntries = bench::kBreadcrumbs;
  struct Entry {
    std::chrono::system_clock::time_point time;
    char message[256];
  };
  std::mutex mutex_;
  size_t next_ = 0;
  std::vector<Entry> entries_ = std::vector<Entry>(kEntries);
};

struct BareHeartbeat {
  std::mutex mutex;
  std::chrono::steady_clock::time_point last;

  void beat() {
    const std::lock_guard<std::mutex> lock(mutex);
    last = std::chrono::steady_clock::now();
  }
};

std::string attribute_name(int i) { return "attribute number " + std::to_string(i); }

void bench_setters(BareSetter& bare) {
  for (const size_t size : {size_t{10}, size_t{100}, size_t{1000}}) {
    const std::string value(size, 'v');
    bench::compare(
        "wrenfall_set_user, bytes", static_cast<double>(size), 1.5, {21, 2000},
        [&] { bare.set("user", value.c_str()); }, [&] { wrenfall_set_user(value.c_str()); });
    const std::string name = attribute_name(kHeldAttributes / 2);
    bench::compare(
        "wrenfall_set_attribute, 64 held, bytes", static_cast<double>(size), 1.5, {21, 2000},
        [&] { bare.set(name, value.c_str()); },
        [&] { wrenfall_set_attribute(name.c_str(), value.c_str()); });
    const long long before = allocations;
    for (int i = 0; i < 1000; ++i) {
      wrenfall_set_user(value.c_str());
      wrenfall_set_attribute(name.c_str(), value.c_str());
    }
    bench::print_figure("allocations of 2000 setter calls with " + std::to_string(size) + " bytes",
                        static_cast<double>(allocations - before), "", 0);
  }
}

// What the time beyond the limit consists of.
void print_parts() {
  std::map<std::string, std::string> names;
  for (int i = 0; i < kHeldAttributes; ++i) names[attribute_name(i)] = "value";
  const std::string name = attribute_name(kHeldAttributes / 2);
  std::mutex mutex;
  std::recursive_mutex recursive;
  size_t found = 0;
  const auto print = [](const char* part, const std::function<void()>& call) {
    bench::print_figure(part, bench::time_of(call, 200000), "ns", bench::kNoBudget);
  };
  print("an empty call", [] {});
  print("a look-up among 64 names", [&] { found += names.count(name); });
  print("a lock", [&] { const std::lock_guard<std::mutex> lock(mutex); });
  print("a recursive lock", [&] { const std::lock_guard<std::recursive_mutex> lock(recursive); });
  if (found == 0) std::exit(1);
}

// Nanoseconds a call, with all threads calling at once.
void in_threads(int count, const std::function<void(int)>& call) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([i, &call] {
      for (int repeat = 0; repeat < 2000; ++repeat) call(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

void bench_breadcrumbs() {
  constexpr double kBudgetNs = 300, kBudgetOfThreads = 2, kClearBudget = 2;
  const std::string message(64, 'm');
  const std::function<void()> add = [&] {
    wrenfall_breadcrumb_add(WRENFALL_LOG_INFO, "bench", message.c_str());
  };
  BareBreadcrumbs bare;
  bench::print_figure("wrenfall_breadcrumb_add, 64 bytes", bench::time_of(add, 200000), "ns",
                      kBudgetNs);
  const long long before = allocations;
  for (int i = 0; i < 200000; ++i) add();
  const long long during = allocations - before;
  bench::print_figure("allocations of 200000 breadcrumbs", static_cast<double>(during), "", 0);
  for (const int threads : {1, 4}) {
    bench::compare(
        "adding breadcrumbs of 64 bytes, threads", threads, kBudgetOfThreads, {15, 1},
        [&] { in_threads(threads, [&](int) { bare.add(message.c_str()); }); },
        [&] { in_threads(threads, [&](int) { add(); }); });
  }
  // One that follows another wipes as much as the first.
  bench::compare(
      "wrenfall_breadcrumb_clear, held", bench::kBreadcrumbs, kClearBudget, {21, 500},
      [&] { bare.clear(); }, [] { wrenfall_breadcrumb_clear(); });
}

}  // namespace

// Counts what the library allocates: it is linked into this program.
void* operator new(std::size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

int main() {
  bench::Library library("setters", 60000);
  BareSetter bare;
  for (int i = 0; i < kHeldAttributes; ++i) {
    wrenfall_set_attribute(attribute_name(i).c_str(), "value");
    bare.set(attribute_name(i), "value");
  }
  bench_setters(bare);
  print_parts();
  const std::string value(100, 'v');
  for (const int threads : {1, 4, kThreads}) {
    std::vector<std::string> names;
    for (int i = 0; i < threads; ++i) names.push_back(attribute_name(i));
    bench::compare(
        "setting attributes, threads", threads, 1.2, {15, 1},
        [&] {
          in_threads(threads,
                     [&](int i) { bare.set(names[static_cast<size_t>(i)], value.c_str()); });
        },
        [&] {
          in_threads(threads, [&](int i) {
            wrenfall_set_attribute(names[static_cast<size_t>(i)].c_str(), value.c_str());
          });
        });
  }
  bench_breadcrumbs();
  BareHeartbeat heart;
  bench::compare(
      "wrenfall_heartbeat", 1, 1.5, {21, 20000}, [&] { heart.beat(); }, wrenfall_heartbeat);
  // Beside a heartbeat alone, of which a resume consists.
  bench::compare(
      "wrenfall_hang_pause and _resume", 1, 2, {21, 20000}, [&] { heart.beat(); },
      [] {
        wrenfall_hang_pause();
        static_cast<void>(wrenfall_hang_resume());
      });
  return 0;
}
