#ifndef WRENFALL_SUPPORT_ENCODING_H_
#define WRENFALL_SUPPORT_ENCODING_H_

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

namespace wrenfall {

// Two lower-case hexadecimal digits per byte.
std::string hex_lower(const unsigned char* bytes, size_t count);

// Sixteen lower-case hexadecimal digits.
std::string hex_address(uint64_t address);
void append_hex_address(uint64_t address, std::string& text);

// A decimal number.
template <typename Integer>
void append_decimal(Integer number, std::string& text) {
  char digits[24];
  const std::to_chars_result end = std::to_chars(std::begin(digits), std::end(digits), number);
  text.append(digits, end.ptr);
}

// An exception or exit code as Windows writes it: "0x" and eight upper-case digits.
std::string hex_code(uint32_t code);

// RFC 3986 percent-encoding of everything but unreserved characters.
std::string percent_encode(std::string_view text);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_ENCODING_H_
