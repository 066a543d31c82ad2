#include "backend/filter_guard_win.h"

#include <windows.h>

#include <cstring>

#include "support/system_function_win.h"

#if !(defined(_M_X64) || defined(__x86_64__)) || defined(_M_ARM64EC)
#error "The guard is written in x64's machine code."
#endif

namespace wrenfall {

void protect_exception_filter(Logger& logger) {
  // nop; xor eax, eax; nop; ret: returns null, which means that there was no filter before.
  static constexpr unsigned char kReturnNull[] = {0x90, 0x33, 0xC0, 0x90, 0xC3};
  static constexpr size_t kFirstStore = 4;

  void* const function =
      find_system_function<void*>(L"kernel32.dll", "SetUnhandledExceptionFilter");
  DWORD protection = 0;
  if (function == nullptr ||
      !VirtualProtect(function, sizeof kReturnNull, PAGE_EXECUTE_READWRITE, &protection)) {
    logger.warn("SetUnhandledExceptionFilter not guarded (error %lu)", GetLastError());
    return;
  }
  std::memcpy(function, kReturnNull, kFirstStore);
  std::memcpy(static_cast<unsigned char*>(function) + kFirstStore, kReturnNull + kFirstStore,
              sizeof kReturnNull - kFirstStore);
  FlushInstructionCache(GetCurrentProcess(), function, sizeof kReturnNull);
  VirtualProtect(function, sizeof kReturnNull, protection, &protection);
  logger.info("SetUnhandledExceptionFilter guarded");
}

}  // namespace wrenfall
