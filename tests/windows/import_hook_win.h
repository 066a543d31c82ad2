#ifndef WRENFALL_TESTS_WINDOWS_IMPORT_HOOK_WIN_H_
#define WRENFALL_TESTS_WINDOWS_IMPORT_HOOK_WIN_H_

#include <windows.h>

#include <map>
#include <string>

// The entry of this program's import table through which it calls a system function.
#define WRENFALL_IMPORT(function) extern "C" decltype(&function) __imp_##function

WRENFALL_IMPORT(GetProcAddress);

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

inline const auto system_get_proc_address = __imp_GetProcAddress;

// The same for the functions that the code under test finds by their names.
class NameHook {
 public:
  template <typename Function>
  NameHook(const char* name, Function* replacement) : name_(name) {
    static const ImportHook finding(__imp_GetProcAddress, &find);
    replacements()[name_] = reinterpret_cast<FARPROC>(reinterpret_cast<void*>(replacement));
  }
  ~NameHook() { replacements().erase(name_); }
  NameHook(const NameHook&) = delete;
  NameHook& operator=(const NameHook&) = delete;

 private:
  static std::map<std::string, FARPROC>& replacements() {
    static std::map<std::string, FARPROC> functions;
    return functions;
  }
  static FARPROC WINAPI find(HMODULE module, const char* name) {
    const auto replacement = replacements().find(name);
    return replacement == replacements().end() ? system_get_proc_address(module, name)
                                               : replacement->second;
  }

  const std::string name_;
};

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_WINDOWS_IMPORT_HOOK_WIN_H_
