#ifndef WRENFALL_FALLBACK_COMMON_SCOPED_WIN_H_
#define WRENFALL_FALLBACK_COMMON_SCOPED_WIN_H_

#include <windows.h>

#include <memory>

namespace crashpad::internal {

struct HandleCloser {
  void operator()(void* handle) const { CloseHandle(handle); }
};

// A kernel handle; null when there is none. A function that returns INVALID_HANDLE_VALUE on failure
// needs adopt_file().
using ScopedHandle = std::unique_ptr<void, HandleCloser>;

inline ScopedHandle adopt_file(HANDLE file) {
  return ScopedHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

struct ViewUnmapper {
  void operator()(const void* view) const { UnmapViewOfFile(view); }
};

template <typename T>
using ScopedView = std::unique_ptr<T, ViewUnmapper>;

// Finds a system function that not every system has; null when this one lacks it. `Function` is the
// type of the function pointer. Casting through void* avoids a warning of each compiler.
template <typename Function>
Function find_system_function(const wchar_t* module_name, const char* function_name) {
  const HMODULE module = GetModuleHandleW(module_name);
  if (module == nullptr) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, function_name)));
}

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_COMMON_SCOPED_WIN_H_
