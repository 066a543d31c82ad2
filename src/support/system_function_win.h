#ifndef WRENFALL_SUPPORT_SYSTEM_FUNCTION_WIN_H_
#define WRENFALL_SUPPORT_SYSTEM_FUNCTION_WIN_H_

#include <windows.h>

namespace wrenfall {

// A function of a module that the process has loaded; null when the module or the function is missing.
// For functions that some versions of Windows, Wine, or some compilers' import libraries lack.
template <typename Function>
Function find_system_function(const wchar_t* module, const char* name) {
  const HMODULE loaded = GetModuleHandleW(module);
  // By way of void*, because compilers warn of casts between types of functions.
  return loaded == nullptr
             ? nullptr
             : reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(loaded, name)));
}

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_SYSTEM_FUNCTION_WIN_H_
