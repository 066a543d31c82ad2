#ifndef WRENFALL_API_ONE_AT_WORK_H_
#define WRENFALL_API_ONE_AT_WORK_H_

#include <mutex>
#include <utility>

namespace wrenfall {

// Lets one thread at a time do a piece of work that covers whatever there is to do. A thread that
// finds another at work asks that one to look once more, and can end: many requests need one thread.
class OneAtWork {
 public:
  // True when the caller is to do the work. False when a thread is at it, which will look once more.
  bool begin() {
    const std::lock_guard<std::mutex> lock(mutex_);
    look_again_ = at_work_;
    return !std::exchange(at_work_, true);
  }

  // Called by the thread at work when it is done: true when it is to look once more.
  bool look_again() {
    const std::lock_guard<std::mutex> lock(mutex_);
    at_work_ = look_again_;
    return std::exchange(look_again_, false);
  }

 private:
  std::mutex mutex_;
  bool at_work_ = false;     // guarded by mutex_
  bool look_again_ = false;  // guarded by mutex_
};

}  // namespace wrenfall

#endif  // WRENFALL_API_ONE_AT_WORK_H_
