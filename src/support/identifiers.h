#ifndef WRENFALL_SUPPORT_IDENTIFIERS_H_
#define WRENFALL_SUPPORT_IDENTIFIERS_H_

#include <array>
#include <string>
#include <string_view>

namespace wrenfall {

// A random version-4 UUID (RFC 4122), 36 lower-case characters.
std::string new_uuid();

// Whether the text has the form of one: 36 characters, hexadecimal digits in lower case and dashes.
bool is_uuid(std::string_view text);

// Sixteen bytes, in the order in which they are written, as 36 lower-case characters.
std::string uuid_text(const std::array<unsigned char, 16>& bytes);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_IDENTIFIERS_H_
