#ifndef WRENFALL_FALLBACK_UTIL_MISC_TRI_STATE_H_
#define WRENFALL_FALLBACK_UTIL_MISC_TRI_STATE_H_

#include <cstdint>

namespace crashpad {

// An option that is on, off, or left to the handler.
enum class TriState : uint8_t { kUnset = 0, kEnabled = 1, kDisabled = 2 };

}  // namespace crashpad

#endif  // WRENFALL_FALLBACK_UTIL_MISC_TRI_STATE_H_
