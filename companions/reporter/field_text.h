#ifndef WRENFALL_COMPANIONS_REPORTER_FIELD_TEXT_H_
#define WRENFALL_COMPANIONS_REPORTER_FIELD_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace wrenfall::reporter {

// As much as the library takes for the same facts, in bytes of UTF-8.
inline constexpr size_t kMaxEmailBytes = 4096;
inline constexpr size_t kMaxDescriptionBytes = 20480;

// The first `bytes` bytes of UTF-8, or a little less: no character is cut in two.
std::string cut_text(std::string_view text, size_t bytes);

// Line ends as the system's text fields have them ("\r\n"), and as a record has them ("\n").
std::string to_field(std::string_view text);
std::string from_field(std::string_view text);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_FIELD_TEXT_H_
