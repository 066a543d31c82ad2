#ifndef WRENFALL_FALLBACK_COMMON_SCOPED_WIN_H_
#define WRENFALL_FALLBACK_COMMON_SCOPED_WIN_H_

#include <windows.h>

#include <memory>

namespace crashpad::internal {

struct HandleCloser {
  void operator()(void* handle) const { CloseHandle(handle); }
};

// A kernel handle. Null when there is none, so a result that says INVALID_HANDLE_VALUE must go
// through adopt_file().
using ScopedHandle = std::unique_ptr<void, HandleCloser>;

inline ScopedHandle adopt_file(HANDLE file) {
  return ScopedHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

struct ViewUnmapper {
  void operator()(const void* view) const { UnmapViewOfFile(view); }
};

template <typename T>
using ScopedView = std::unique_ptr<T, ViewUnmapper>;

// Finds an optional system function; null when this system does not have it. `Function` is the
// function pointer's type. The way over void* is what both compilers take without a warning.
template <typename Function>
Function find_system_function(const wchar_t* module_name, const char* function_name) {
  const HMODULE module = GetModuleHandleW(module_name);
  if (module == nullptr) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, function_name)));
}

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_COMMON_SCOPED_WIN_H_
