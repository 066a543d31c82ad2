#ifndef WRENFALL_API_PUBLISHED_H_
#define WRENFALL_API_PUBLISHED_H_

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace wrenfall {

// An object that one thread at a time publishes and withdraws while any thread reads it without a
// lock. T derives from std::enable_shared_from_this.
template <typename T>
class Published {
 public:
  // Keeps what is published alive, and publish() waiting, for its own lifetime. For work that takes
  // no longer than a few copies; it costs half of what a share costs.
  class Glimpse {
   public:
    explicit Glimpse(Published& published)
        : readers_(published.readers_), object_((++readers_, published.bare_.load())) {}
    ~Glimpse() { --readers_; }
    Glimpse(const Glimpse&) = delete;
    Glimpse& operator=(const Glimpse&) = delete;

    T* get() const { return object_; }  // null when there is none

   private:
    std::atomic<int>& readers_;
    T* const object_;
  };

  // A share in the published object; null when there is none.
  std::shared_ptr<T> get() {
    const Glimpse glimpse(*this);
    return glimpse.get() == nullptr ? nullptr : glimpse.get()->shared_from_this();
  }

  // A bare pointer, which keeps nothing alive: the object may be withdrawn and destroyed at any
  // moment. Use it for comparing, or where the caller knows that the object stays.
  T* peek() const { return bare_.load(); }

  // Null withdraws. Waits until no glimpse of the previous object is left, but not for ever: the host
  // may have ended a thread in the middle of one. After that time the object is kept until no glimpse
  // is left, which may be never, and then every later call waits as long.
  void publish(std::shared_ptr<T> object,
               std::chrono::milliseconds patience = std::chrono::seconds(2)) {
    bare_ = object.get();
    const auto end = std::chrono::steady_clock::now() + patience;
    while (readers_ != 0 && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    const bool in_use = readers_ != 0;
    // The previous object, if this was its last reference, is destroyed with the parameter.
    owned_.swap(object);
    if (in_use) {
      kept_.push_back(std::move(object));
    } else {
      kept_.clear();
    }
  }

 private:
  // Used by the publishing thread alone.
  std::shared_ptr<T> owned_;
  std::vector<std::shared_ptr<T>> kept_;  // those that a glimpse may still use
  std::atomic<T*> bare_{nullptr};
  std::atomic<int> readers_{0};
};

}  // namespace wrenfall

#endif  // WRENFALL_API_PUBLISHED_H_
