#ifndef WRENFALL_TESTS_NATIVE_FILE_DESCRIPTOR_POSIX_H_
#define WRENFALL_TESTS_NATIVE_FILE_DESCRIPTOR_POSIX_H_

#include <unistd.h>

#include <utility>

namespace wrenfall {

// An open file, closed at the end; -1 is none.
class ScopedDescriptor {
 public:
  explicit ScopedDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
  ScopedDescriptor(ScopedDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  ScopedDescriptor& operator=(ScopedDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~ScopedDescriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_NATIVE_FILE_DESCRIPTOR_POSIX_H_
