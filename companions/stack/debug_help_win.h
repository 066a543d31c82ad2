#ifndef WRENFALL_COMPANIONS_STACK_DEBUG_HELP_WIN_H_
#define WRENFALL_COMPANIONS_STACK_DEBUG_HELP_WIN_H_

#include <windows.h>

// Needs <windows.h> first.
#include <dbghelp.h>

#include "support/system_library_win.h"

namespace wrenfall::stack {

// The system's library for stacks and symbols, loaded when the first object is made. Its functions must
// never be called by two threads at once. Some headers and import libraries lack the newer ones.
struct DebugHelp {
  // Some headers give the path that is found a wrong type.
  using FindFileInPath = BOOL WINAPI(HANDLE, PCWSTR, PCWSTR, void*, DWORD, DWORD, DWORD, wchar_t*,
                                     void*, void*);
  using AddrIncludeInlineTrace = DWORD WINAPI(HANDLE, DWORD64);
  using QueryInlineTrace = BOOL WINAPI(HANDLE, DWORD64, DWORD, DWORD64, DWORD64, DWORD*, DWORD*);
  using FromInlineContext = BOOL WINAPI(HANDLE, DWORD64, ULONG, DWORD64*, SYMBOL_INFOW*);
  using LineFromInlineContext = BOOL WINAPI(HANDLE, DWORD64, ULONG, DWORD64, DWORD*,
                                            IMAGEHLP_LINEW64*);

  SystemLibrary library{L"dbghelp.dll"};
  decltype(&SymSetOptions) set_options = library.find("SymSetOptions");
  decltype(&SymInitializeW) initialize = library.find("SymInitializeW");
  decltype(&SymCleanup) clean_up = library.find("SymCleanup");
  FindFileInPath* find_file = library.find("SymFindFileInPathW");
  decltype(&SymLoadModuleExW) load_module = library.find("SymLoadModuleExW");
  decltype(&SymUnloadModule64) unload_module = library.find("SymUnloadModule64");
  decltype(&SymGetModuleInfoW64) module_info = library.find("SymGetModuleInfoW64");
  decltype(&SymFromAddrW) symbol_at = library.find("SymFromAddrW");
  decltype(&SymGetLineFromAddrW64) line_at = library.find("SymGetLineFromAddrW64");
  decltype(&StackWalk64) walk = library.find("StackWalk64");
  const bool is_usable = library.is_complete();
  // From Windows 8 on; null before.
  AddrIncludeInlineTrace* inline_count = library.find("SymAddrIncludeInlineTrace");
  QueryInlineTrace* inline_trace = library.find("SymQueryInlineTrace");
  FromInlineContext* inline_symbol = library.find("SymFromInlineContextW");
  LineFromInlineContext* inline_line = library.find("SymGetLineFromInlineContextW");

  bool knows_inline_frames() const {
    return inline_count != nullptr && inline_trace != nullptr && inline_symbol != nullptr &&
           inline_line != nullptr;
  }
};

}  // namespace wrenfall::stack

#endif  // WRENFALL_COMPANIONS_STACK_DEBUG_HELP_WIN_H_
