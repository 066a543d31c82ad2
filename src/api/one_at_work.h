#ifndef WRENFALL_API_ONE_AT_WORK_H_
#define WRENFALL_API_ONE_AT_WORK_H_

#include <mutex>
#include <utility>

namespace wrenfall {

// Serves many requests for the same job with one thread. The first thread to begin does the job. A
// thread that comes while the job runs asks the first one to repeat it, and can end.
class OneAtWork {
 public:
  // True when the caller must do the job. False when another thread does it; that thread will
  // repeat it.
  bool begin() {
    const std::lock_guard<std::mutex> lock(mutex_);
    look_again_ = at_work_;
    return !std::exchange(at_work_, true);
  }

  // Called by the working thread after each run. True when it must run the job again.
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
