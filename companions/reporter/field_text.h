#ifndef WRENFALL_COMPANIONS_REPORTER_FIELD_TEXT_H_
#define WRENFALL_COMPANIONS_REPORTER_FIELD_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "backend/annotation_keys.h"

namespace wrenfall::reporter {

// The library's own limits for the same two facts, in bytes of UTF-8.
inline constexpr size_t kMaxEmailBytes = annotation::kValueBytes;
inline constexpr size_t kMaxDescriptionBytes = annotation::kLongValueBytes;

// Converts line ends: to_field() gives "\r\n", which the system's text fields need; from_field() gives
// "\n", which records hold.
std::string to_field(std::string_view text);
std::string from_field(std::string_view text);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_FIELD_TEXT_H_
