#ifndef WRENFALL_API_PAUSING_THREAD_H_
#define WRENFALL_API_PAUSING_THREAD_H_

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>

#include "support/detached_thread.h"

namespace wrenfall {

// A thread that works, pauses, and works again, until it is ended. start() and end() are called by one
// thread at a time.
class PausingThread {
 public:
  // Returns how long to pause before it is called again. Must not throw.
  using Work = std::function<std::chrono::seconds()>;

  PausingThread() = default;
  PausingThread(const PausingThread&) = delete;
  PausingThread& operator=(const PausingThread&) = delete;

  // `work` must keep this object alive. Throws std::system_error where there is no thread to be had.
  void start(std::chrono::seconds first_pause, Work work) {
    start_detached_thread([this, first_pause, work = std::move(work)] { run(first_pause, work); });
  }

  // A thread that pauses does not work again. One that works is not waited for: it ends with its work.
  // May be called again.
  void end() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }

 private:
  void run(std::chrono::seconds pause, const Work& work) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!changed_.wait_for(lock, pause, [this] { return ended_; })) {
      lock.unlock();
      pause = work();
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool ended_ = false;  // guarded by mutex_
};

}  // namespace wrenfall

#endif  // WRENFALL_API_PAUSING_THREAD_H_
