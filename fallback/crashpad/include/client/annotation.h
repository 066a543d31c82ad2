#ifndef WRENFALL_FALLBACK_CLIENT_ANNOTATION_H_
#define WRENFALL_FALLBACK_CLIENT_ANNOTATION_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace crashpad {

namespace internal {
struct AnnotationLayout;
}

// A named value that the handler reads out of this process when it writes a dump.
//
// The object owns neither the name nor the value. The first SetSize() adds the object to a
// process-wide list from which nothing is removed, so from then on both buffers and the object must
// stay at their addresses for the rest of the process. The handler reads kNameMaxLength bytes at the
// name. Any thread may call any member; the caller orders the writing of the value's bytes.
class Annotation {
 public:
  static constexpr size_t kNameMaxLength = 256;
  static constexpr size_t kValueMaxSize = size_t{5} * 4096;

  enum class Type : uint16_t { kInvalid = 0, kString = 1 };

  constexpr Annotation(Type type, const char name[], void* value_ptr)
      : link_(nullptr), name_(name), value_ptr_(value_ptr), size_(0), type_(type) {}

  Annotation(const Annotation&) = delete;
  Annotation& operator=(const Annotation&) = delete;

  // Publishes the first `size` bytes of the value; more than kValueMaxSize counts as kValueMaxSize.
  void SetSize(uint32_t size);

  // Removes the value. The object stays in the list and still counts there.
  void Clear() { size_.store(0, std::memory_order_release); }

  bool is_set() const { return size() > 0; }
  Type type() const { return type_; }
  uint32_t size() const { return size_.load(std::memory_order_acquire); }
  const char* name() const { return name_; }
  const void* value() const { return value_ptr_; }

 private:
  friend struct internal::AnnotationLayout;

  void AddToList();

  // The next older entry. Null outside the list; the list ends in an entry whose link is null.
  std::atomic<Annotation*> link_;
  const char* const name_;
  void* const value_ptr_;
  std::atomic<uint32_t> size_;
  const Type type_;
};

}  // namespace crashpad

#endif  // WRENFALL_FALLBACK_CLIENT_ANNOTATION_H_
