#ifndef WRENFALL_API_INTERRUPTIBLE_WAIT_H_
#define WRENFALL_API_INTERRUPTIBLE_WAIT_H_

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace wrenfall {

// Lets a thread wait for a while, or until another thread ends all its waits.
class InterruptibleWait {
 public:
  // False once the waits are ended, at the latest after `time`.
  bool wait(std::chrono::seconds time) {
    std::unique_lock<std::mutex> lock(mutex_);
    return !changed_.wait_for(lock, time, [this] { return ended_; });
  }

  void end() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ended_ = false;  // guarded by mutex_
};

}  // namespace wrenfall

#endif  // WRENFALL_API_INTERRUPTIBLE_WAIT_H_
