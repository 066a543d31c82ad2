// Linked with MSVC alone. Its linker makes Wrenfall.dll load the system's libraries late that an
// installed Crashpad imports, as support/system_library_win.h does for those that the library uses
// itself. What loads them is a part of the compiler's runtime, which asks the function below first.
#include <windows.h>

#include <delayimp.h>

namespace {

// From the system's folder alone. Null has the runtime load the library in its own way.
FARPROC WINAPI load_from_system(unsigned event, PDelayLoadInfo import) {
  if (event != dliNotePreLoadLibrary) return nullptr;
  return reinterpret_cast<FARPROC>(
      LoadLibraryExA(import->szDll, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
}

}  // namespace

// Found by its name. The header decides whether it is const.
extern "C" decltype(__pfnDliNotifyHook2) __pfnDliNotifyHook2 = load_from_system;
