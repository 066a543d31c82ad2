#ifndef WRENFALL_TESTS_WINDOWS_IMPORT_HOOK_WIN_H_
#define WRENFALL_TESTS_WINDOWS_IMPORT_HOOK_WIN_H_

#include <windows.h>

// The entry of this program's import table through which it calls a system function.
#define WRENFALL_IMPORT(function) extern "C" decltype(&function) __imp_##function

namespace wrenfall {

// Leads the calls of the code under test to a function of the test's, for the lifetime of this object.
template <typename Function>
class ImportHook {
 public:
  ImportHook(Function& entry, Function replacement) : entry_(entry), original_(entry) {
    put(replacement);
  }
  ~ImportHook() { put(original_); }
  ImportHook(const ImportHook&) = delete;
  ImportHook& operator=(const ImportHook&) = delete;

 private:
  void put(Function function) {
    DWORD protection = 0;
    VirtualProtect(&entry_, sizeof entry_, PAGE_READWRITE, &protection);
    entry_ = function;
    VirtualProtect(&entry_, sizeof entry_, protection, &protection);
  }

  Function& entry_;
  const Function original_;
};

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_WINDOWS_IMPORT_HOOK_WIN_H_
