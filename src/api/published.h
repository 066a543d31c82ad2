#ifndef WRENFALL_API_PUBLISHED_H_
#define WRENFALL_API_PUBLISHED_H_

#include <atomic>
#include <memory>
#include <thread>

namespace wrenfall {

// An object that one thread at a time publishes and withdraws while any thread reads it without a
// lock. T derives from std::enable_shared_from_this.
template <typename T>
class Published {
 public:
  // A share in the published object; null when there is none.
  std::shared_ptr<T> get() {
    const Reader reader(readers_);
    T* const object = bare_.load();
    return object == nullptr ? nullptr : object->shared_from_this();
  }

  // A bare pointer, which keeps nothing alive: the object may be withdrawn and destroyed at any
  // moment. Use it for comparing, or where the caller knows that the object stays.
  T* peek() const { return bare_.load(); }

  // Null withdraws. Waits for readers that have found the previous object but do not share it yet.
  void publish(std::shared_ptr<T> object) {
    bare_ = object.get();
    while (readers_ != 0) std::this_thread::yield();
    // The previous object, if this was its last reference, is destroyed with the parameter.
    owned_.swap(object);
  }

 private:
  class Reader {
   public:
    explicit Reader(std::atomic<int>& count) : count_(count) { ++count_; }
    ~Reader() { --count_; }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

   private:
    std::atomic<int>& count_;
  };

  std::shared_ptr<T> owned_;  // used by the publishing thread alone
  std::atomic<T*> bare_{nullptr};
  std::atomic<int> readers_{0};
};

}  // namespace wrenfall

#endif  // WRENFALL_API_PUBLISHED_H_
