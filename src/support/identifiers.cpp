#include "support/identifiers.h"

#include <cstdint>
#include <random>

#include "support/encoding.h"

namespace wrenfall {

std::string new_uuid() {
  std::random_device device;
  std::array<unsigned char, 16> bytes{};
  for (size_t i = 0; i < bytes.size(); i += 4) {
    const uint32_t draw = device();
    for (size_t k = 0; k < 4; ++k) bytes[i + k] = static_cast<unsigned char>(draw >> (8 * k));
  }
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
  return uuid_text(bytes);
}

std::string uuid_text(const std::array<unsigned char, 16>& bytes) {
  std::string text = hex_lower(bytes.data(), bytes.size());
  for (const size_t position : {8u, 13u, 18u, 23u}) text.insert(position, 1, '-');
  return text;
}

bool is_uuid(std::string_view text) {
  constexpr size_t kLength = 36;
  if (text.size() != kLength) return false;
  for (size_t i = 0; i < kLength; ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    const bool digit = (text[i] >= '0' && text[i] <= '9') || (text[i] >= 'a' && text[i] <= 'f');
    if (dash ? text[i] != '-' : !digit) return false;
  }
  return true;
}

}  // namespace wrenfall
