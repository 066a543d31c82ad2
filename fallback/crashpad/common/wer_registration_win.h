#ifndef WRENFALL_FALLBACK_COMMON_WER_REGISTRATION_WIN_H_
#define WRENFALL_FALLBACK_COMMON_WER_REGISTRATION_WIN_H_

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace crashpad::internal {

constexpr uint32_t kWerRegistrationMagic = 0x57535257;  // "WRSW"

// What the helper module in Windows Error Reporting's process finds in the client's memory. The
// client fills in the first part, the helper the second when the client has crashed: the dump
// writer looks for an exception in the memory of the process that it belongs to.
struct WerRegistration {
  uint32_t magic;  // 0 while nobody handles crashes.
  uint32_t size;   // Of the whole structure.

  // Handles of the client process: the ClientSection, and the events of its slot "wer".
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
