#ifndef WRENFALL_FALLBACK_COMMON_WER_REGISTRATION_WIN_H_
#define WRENFALL_FALLBACK_COMMON_WER_REGISTRATION_WIN_H_

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace crashpad::internal {

constexpr uint32_t kWerRegistrationMagic = 0x57535257;  // "WRSW"

// What the helper module in Windows Error Reporting's process finds in the client's memory. The client
// fills in the first part. When the client has crashed, the helper fills in the exception, because the
// dump writer reads exceptions from the memory of the crashed process.
struct WerRegistration {
  uint32_t magic;  // 0 while there is no handler.
  uint32_t size;   // Of the whole structure.

  // Handles in the client process: the ClientSection, and the events of its slot "wer".
  uint64_t section;
  uint64_t request;
  uint64_t done;

  uint32_t gather_indirect_memory;
  uint32_t padding;

  struct Exception {
    EXCEPTION_POINTERS pointers;
    EXCEPTION_RECORD record;
    CONTEXT context;
  } exception;
};

static_assert(std::is_trivially_copyable_v<WerRegistration>);
static_assert(offsetof(WerRegistration, section) == 8);

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_COMMON_WER_REGISTRATION_WIN_H_
