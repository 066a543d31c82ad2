#include "reporter/field_text.h"

namespace wrenfall::reporter {

std::string to_field(std::string_view text) {
  std::string field;
  for (const char c : from_field(text)) {
    if (c == '\n') field += '\r';
    // A field's text ends at the first NUL.
    field += c == '\0' ? ' ' : c;
  }
  return field;
}

std::string from_field(std::string_view text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r') {
      plain += text[i];
    } else if (i + 1 == text.size() || text[i + 1] != '\n') {
      plain += '\n';
    }
  }
  return plain;
}

}  // namespace wrenfall::reporter
