#ifndef WRENFALL_HANG_WATCHDOG_H_
#define WRENFALL_HANG_WATCHDOG_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "hang/hang_holds.h"
#include "hang/hang_tracker.h"
#include "hang/window_probe.h"
#include "support/logger.h"

namespace wrenfall {

// Watches for hangs on a thread of its own, from start to stop.
//
// On every tick that thread asks the probe whether a window of the process answers, which is a sign
// of life of the main thread, and calls the hang callback for a hang that is due. A tick that comes
// far too late shows that the whole process did not run: the machine slept, a debugger or a dump had
// stopped it. That counts as a sign of life of every thread, and so does a tick at which one of the
// holds is in force. No lock is held during the calls, so that a slow capture never blocks a heartbeat.
// Any thread may beat, watch and unwatch; start and stop are called by one thread at a time. Failures
// of mutexes, condition variables and threads are thrown as std::system_error.
class Watchdog {
 public:
  using HangCallback = std::function<void(const Hang& hang)>;

  // The logger outlives the watchdog. With a `threshold_ms` below 1 start() does nothing. The calling
  // thread counts as the main thread, unless another one owns a visible window that does not answer
  // when the main thread hangs.
  Watchdog(int32_t threshold_ms, uint32_t policy, HangCallback on_hang, WindowProbe probe,
           Logger& logger, HangHolds holds = {});
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  // Does nothing when the thread already runs.
  void start();

  // Waits for the thread to end. It ends at once, in the middle of a tick too, unless it is busy
  // with a capture. Must not be called from the callback.
  void stop();

  // A sign of life of the main thread, whichever thread calls, and of the calling thread if that is
  // watched.
  void heartbeat();
  // A sign of life of all threads.
  void all_alive();
  // Both are about the calling thread.
  void watch(const std::string& name);
  void unwatch();

  // How long the thread waits between two looks at the threads.
  static std::chrono::milliseconds tick_period(int32_t threshold_ms);

 private:
  void run();
  // Under mutex_. `due` is when the tick should have come.
  void note_signs_of_life(const WindowAnswers& answers, std::chrono::steady_clock::time_point due);
  void report(const Hang& hang);
  // Whether hangs are not looked for at this tick. Logs the first tick of each reason, for which it
  // gives up the lock for a moment.
  bool is_held(std::unique_lock<std::mutex>& lock);
  // Under mutex_.
  std::optional<Hang> due_hang();
  // False when the watchdog is to stop.
  bool wait_until(std::chrono::steady_clock::time_point due, std::unique_lock<std::mutex>& lock);

  const int32_t threshold_ms_;
  const uint32_t policy_;
  const HangCallback on_hang_;
  const WindowProbe probe_;
  const HangHolds holds_;
  const uint32_t main_thread_id_;
  Logger& logger_;

  std::mutex mutex_;
  std::condition_variable wake_;
  std::atomic<bool> stopping_{
      false};                   // changed under mutex_, so that a waiting thread cannot miss it
  HangTracker tracker_;         // guarded by mutex_
  bool told_of_pause_ = false;  // of the watchdog's thread alone, as the next
  bool told_of_debugger_ = false;
  std::thread thread_;
};

// The texts of the hang policies: "terminate" and "report".
const char* hang_policy_text(uint32_t policy);

}  // namespace wrenfall

#endif  // WRENFALL_HANG_WATCHDOG_H_
