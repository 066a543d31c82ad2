#include "support/encoding.h"

#include <cstdio>

namespace wrenfall {
namespace {

// Independent of the locale, unlike std::isalnum.
bool is_unreserved(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

}  // namespace

std::string hex_lower(const unsigned char* bytes, size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(count * 2);
  for (size_t i = 0; i < count; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0x0F];
  }
  return text;
}

std::string hex_address(uint64_t address) {
  std::string text;
  append_hex_address(address, text);
  return text;
}

void append_hex_address(uint64_t address, std::string& text) {
  char digits[16];
  for (size_t i = sizeof digits; i > 0; address >>= 4)
    digits[--i] = "0123456789abcdef"[address & 15];
  text.append(digits, sizeof digits);
}

std::string hex_code(uint32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
  return text;
}

std::string percent_encode(std::string_view text) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size() * 3);
  for (const char c : text) {
    if (is_unreserved(c)) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += '%';
    encoded += kDigits[byte >> 4];
    encoded += kDigits[byte & 0x0F];
  }
  return encoded;
}

}  // namespace wrenfall
