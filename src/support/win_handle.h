#ifndef WRENFALL_SUPPORT_WIN_HANDLE_H_
#define WRENFALL_SUPPORT_WIN_HANDLE_H_

#include <windows.h>

#include <utility>

namespace wrenfall {

// Owns one handle of a kind; the traits say what an empty one is and how one is closed.
template <typename Traits>
class ScopedHandle {
 public:
  using Handle = typename Traits::Handle;

  ScopedHandle() = default;
  explicit ScopedHandle(Handle handle) : handle_(handle) {}
  ScopedHandle(ScopedHandle&& other) noexcept
      : handle_(std::exchange(other.handle_, Traits::empty())) {}
  ScopedHandle& operator=(ScopedHandle&& other) noexcept {
    if (this != &other) reset(std::exchange(other.handle_, Traits::empty()));
    return *this;
  }
  ScopedHandle(const ScopedHandle&) = delete;
  ScopedHandle& operator=(const ScopedHandle&) = delete;
  ~ScopedHandle() { reset(); }

  // Closing keeps the thread's last error, so that a failure can be read after clean-up.
  void reset(Handle handle = Traits::empty()) {
    if (handle_ != Traits::empty()) {
      const DWORD error = GetLastError();
      Traits::close(handle_);
      SetLastError(error);
    }
    handle_ = handle;
  }

  // Leaves the closing to the caller.
  Handle release() { return std::exchange(handle_, Traits::empty()); }

  Handle get() const { return handle_; }
  explicit operator bool() const { return handle_ != Traits::empty(); }

 private:
  Handle handle_ = Traits::empty();
};

// CreateFile and FindFirstFile families, whose failures are INVALID_HANDLE_VALUE.
struct FileHandleTraits {
  using Handle = HANDLE;
  static Handle empty() { return INVALID_HANDLE_VALUE; }
  static void close(Handle handle) { CloseHandle(handle); }
};
using ScopedFile = ScopedHandle<FileHandleTraits>;

// Processes, threads, events: failures are null.
struct KernelHandleTraits {
  using Handle = HANDLE;
  static Handle empty() { return nullptr; }
  static void close(Handle handle) { CloseHandle(handle); }
};
using ScopedKernelHandle = ScopedHandle<KernelHandleTraits>;

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_WIN_HANDLE_H_
