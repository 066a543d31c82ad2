#include "support/scrub.h"

namespace wrenfall {
namespace {

bool is_separator(char c) { return c == '/' || c == '\\'; }

char ascii_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// The length of a separator, a home-folder element and a separator at the start of the text; 0 when
// there is none.
size_t home_prefix_length(std::string_view text) {
  for (const std::string_view element : {"users", "home"}) {
    const size_t length = element.size() + 2;
    if (text.size() < length || !is_separator(text[0]) || !is_separator(text[length - 1])) continue;
    size_t i = 0;
    while (i < element.size() && ascii_lower(text[i + 1]) == element[i]) ++i;
    if (i == element.size()) return length;
  }
  return 0;
}

}  // namespace

std::string scrub_user_names(std::string_view text) {
  std::string clean;
  clean.reserve(text.size());
  size_t copied = 0;
  for (size_t position = 0; position < text.size();) {
    // Nearly all characters are none that a home folder can begin with.
    if (!is_separator(text[position])) {
      ++position;
      continue;
    }
    const size_t prefix = home_prefix_length(text.substr(position));
    const size_t name = position + prefix;
    size_t end = name;
    while (prefix != 0 && end < text.size() && !is_separator(text[end])) ++end;
    if (end == name) {
      ++position;
      continue;
    }
    clean.append(text, copied, name - copied).append("...");
    copied = position = end;
  }
  return clean.append(text, copied);
}

}  // namespace wrenfall
