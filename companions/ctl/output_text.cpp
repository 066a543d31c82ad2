#include "ctl/output_text.h"

#include <algorithm>
#include <cstdio>

#include "support/json_text.h"

namespace wrenfall::ctl {
namespace {

// One character of valid UTF-8 text.
struct Character {
  uint32_t code = 0;
  size_t length = 1;
};

Character character_at(const std::string& text, size_t position) {
  const auto first = static_cast<unsigned char>(text[position]);
  if (first < 0x80) return {first, 1};
  const size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  uint32_t code = first & (0x7Fu >> length);
  for (size_t i = 1; i < length; ++i) {
    code = code << 6 | (static_cast<unsigned char>(text[position + i]) & 0x3Fu);
  }
  return {code, length};
}

// Control characters, and invisible characters that change the direction of the text or end a line.
bool is_unsafe(uint32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x061C ||
         (code >= 0x200E && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

// `text` is valid UTF-8. The escape is valid inside a JSON text too, so whole documents can be passed.
std::string escape(const std::string& text, bool keep_line_breaks) {
  std::string safe;
  safe.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const Character character = character_at(text, i);
    if (!is_unsafe(character.code) || (keep_line_breaks && character.code == '\n')) {
      safe.append(text, i, character.length);
    } else {
      char notation[16];
      std::snprintf(notation, sizeof notation, "\\u%04x", static_cast<unsigned>(character.code));
      safe += notation;
    }
    i += character.length;
  }
  return safe;
}

size_t width_of(const std::string& text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

}  // namespace

std::string escape_for_terminal(const std::string& text) { return escape(valid_utf8(text), false); }

std::string json_document(const nlohmann::json& document) {
  return escape(json_text(document, 2), true) + "\n";
}

std::string json_line(const nlohmann::json& object) {
  return escape(json_text(object), false) + "\n";
}

std::string table(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width_of(row[i]));
  }
  std::string text;
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      text += row[i];
      if (i + 1 < row.size()) text.append(widths[i] - width_of(row[i]) + 2, ' ');
    }
    text += '\n';
  }
  return text;
}

}  // namespace wrenfall::ctl
