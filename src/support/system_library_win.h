#ifndef WRENFALL_SUPPORT_SYSTEM_LIBRARY_WIN_H_
#define WRENFALL_SUPPORT_SYSTEM_LIBRARY_WIN_H_

#include <windows.h>

namespace wrenfall {

// A library of the system that is loaded when it is needed, not with the program or DLL that uses it. So
// a process starts without it, and runs even where it cannot be loaded: user32.dll, for one, in a
// service that may have no windows. It is taken from the system's folder alone, and stays loaded. A
// structure that holds one and, after it, the functions that it takes from it, is one line a function.
//
// Loading waits while another thread is in the middle of loading a library. So nothing that must work
// in a crash or a hang may do it.
class SystemLibrary {
 public:
  explicit SystemLibrary(const wchar_t* name)
      : module_(LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)),
        is_complete_(module_ != nullptr) {}

  // Becomes a pointer of the type that it is stored in.
  class FoundFunction {
   public:
    explicit FoundFunction(FARPROC address) : address_(address) {}
    template <typename Function>
    operator Function*() const {
      // By way of void*, because compilers warn of casts between types of functions.
      return reinterpret_cast<Function*>(reinterpret_cast<void*>(address_));
    }

   private:
    const FARPROC address_;
  };

  // Null when the library or the function is missing.
  FoundFunction find(const char* name) {
    const FARPROC address = module_ == nullptr ? nullptr : GetProcAddress(module_, name);
    is_complete_ = is_complete_ && address != nullptr;
    return FoundFunction(address);
  }

  // Whether the library and every function that was looked for are there.
  bool is_complete() const { return is_complete_; }

 private:
  HMODULE module_;
  bool is_complete_;
};

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_SYSTEM_LIBRARY_WIN_H_
