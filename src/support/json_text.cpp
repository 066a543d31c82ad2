#include "support/json_text.h"

#include <algorithm>
#include <limits>

namespace wrenfall {

using nlohmann::json;

json parse_json(const std::string& text) { return json::parse(text, nullptr, false, false); }

std::string json_text(const json& value, int indent) {
  return value.dump(indent, ' ', false, json::error_handler_t::replace);
}

std::string valid_utf8(std::string text) {
  const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  // Nearly every text is ASCII, and the detour through JSON costs far more than this check.
  if (std::all_of(text.begin(), text.end(), is_ascii)) return text;
  return parse_json(json_text(text)).get<std::string>();
}

std::optional<int64_t> json_integer(const json& value) {
  if (value.is_number_unsigned()) {
    const auto number = value.get<uint64_t>();
    if (number > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return std::nullopt;
    return static_cast<int64_t>(number);
  }
  if (value.is_number_integer()) return value.get<int64_t>();
  if (value.is_number_float()) {
    const double number = value.get<double>();
    // Both bounds are exact powers of two; not-a-number fails both comparisons.
    if (number >= -0x1p63 && number < 0x1p63) return static_cast<int64_t>(number);
  }
  return std::nullopt;
}

std::optional<uint64_t> json_unsigned(const json& value) {
  if (value.is_number_unsigned()) return value.get<uint64_t>();
  if (value.is_number_integer()) {
    const auto number = value.get<int64_t>();
    if (number < 0) return std::nullopt;
    return static_cast<uint64_t>(number);
  }
  if (value.is_number_float()) {
    const double number = value.get<double>();
    if (number > -1 && number < 0x1p64) return static_cast<uint64_t>(number);
  }
  return std::nullopt;
}

}  // namespace wrenfall
