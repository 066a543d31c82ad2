#include "support/scrub.h"

#include <string_view>

#include "support/text.h"

namespace wrenfall {
namespace {

constexpr std::string_view kReplacement = "...";

bool is_separator(char c) { return c == '/' || c == '\\'; }

// Where the next separator is, or the end of the text.
size_t find_separator(std::string_view text, size_t from) {
  while (from < text.size() && !is_separator(text[from])) ++from;
  return from;
}

// The length of a separator, a home-folder element and a separator at the start of the text; 0 when
// there is none.
size_t home_prefix_length(std::string_view text) {
  for (const std::string_view element : {"users", "home"}) {
    const size_t length = element.size() + 2;
    if (text.size() >= length && is_separator(text[0]) && is_separator(text[length - 1]) &&
        equal_ignoring_ascii_case(text.substr(1, element.size()), element)) {
      return length;
    }
  }
  return 0;
}

}  // namespace

std::string scrub_user_names(std::string text) {
  size_t position = find_separator(text, 0);
  while (position < text.size()) {
    const size_t prefix = home_prefix_length(std::string_view(text).substr(position));
    const size_t name = position + prefix;
    const size_t end = prefix == 0 ? name : find_separator(text, name);
    if (end == name) {
      position = find_separator(text, position + 1);
      continue;
    }
    text.replace(name, end - name, kReplacement);
    position = name + kReplacement.size();
  }
  return text;
}

}  // namespace wrenfall
