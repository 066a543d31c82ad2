#ifndef WRENFALL_SUPPORT_TEXT_H_
#define WRENFALL_SUPPORT_TEXT_H_

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace wrenfall {

// UTF-8 text to the native form of a path and back. A bad sequence becomes U+FFFD; text that the
// system cannot convert at all becomes the empty path or text.
std::filesystem::path utf8_to_path(std::string_view text);
std::string path_to_utf8(const std::filesystem::path& path);

// The same between UTF-8 and UTF-16, for system calls.
std::wstring utf8_to_wide(std::string_view text);
std::string wide_to_utf8(std::wstring_view text);

// The letter in lower case; every character that is no ASCII capital as it is.
constexpr char ascii_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Whether two texts differ at most in the case of ASCII letters.
inline bool equal_ignoring_ascii_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return ascii_lower(x) == ascii_lower(y);
         });
}

// The first `bytes` bytes of the text, or a few less, so that no UTF-8 character is cut in two.
inline std::string_view cut_utf8(std::string_view text, size_t bytes) {
  if (text.size() <= bytes) return text;
  // A continuation byte at the cut belongs to a character that starts before it.
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) --bytes;
  return text.substr(0, bytes);
}

// A C string of the host's, where NULL counts as empty.
inline std::string text_or_empty(const char* text) { return text == nullptr ? "" : text; }

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_TEXT_H_
