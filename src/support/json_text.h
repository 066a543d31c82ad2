#ifndef WRENFALL_SUPPORT_JSON_TEXT_H_
#define WRENFALL_SUPPORT_JSON_TEXT_H_

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace wrenfall {

// Parses without exceptions and without comments; a text that is not JSON gives a discarded value.
nlohmann::json parse_json(const std::string& text);

// JSON text: compact, or indented by that many blanks a level. Non-ASCII characters stay UTF-8;
// each bad sequence becomes U+FFFD, so that no report is lost over a bad byte.
std::string json_text(const nlohmann::json& value, int indent = -1);

// The text as it reads back from JSON: each bad sequence replaced by U+FFFD.
std::string valid_utf8(std::string text);

// A number as a signed 64-bit value: integers as they are, floating-point values truncated. Nothing
// for a number that does not fit and for every other type.
std::optional<int64_t> json_integer(const nlohmann::json& value);
// The same for an unsigned one.
std::optional<uint64_t> json_unsigned(const nlohmann::json& value);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_JSON_TEXT_H_
