#include "report/store/json_fields.h"

#include <limits>
#include <optional>

#include "support/json_text.h"

namespace wrenfall {
namespace {

using nlohmann::json;

template <typename Integer, typename Number>
void assign(const json& value, std::optional<Number> number, Integer& field) {
  if (value.is_boolean()) {
    field = value.get<bool>() ? 1 : 0;
  } else if (number && *number >= std::numeric_limits<Integer>::min() &&
             *number <= std::numeric_limits<Integer>::max()) {
    field = static_cast<Integer>(*number);
  }
}

}  // namespace

void read_json(const json& value, std::string& field) {
  if (value.is_string()) field = value.get<std::string>();
}

void read_json(const json& value, bool& field) {
  if (value.is_boolean()) field = value.get<bool>();
}

void read_json(const json& value, int32_t& field) { assign(value, json_integer(value), field); }
void read_json(const json& value, int64_t& field) { assign(value, json_integer(value), field); }
void read_json(const json& value, uint64_t& field) { assign(value, json_unsigned(value), field); }

void read_json(const json& value, std::map<std::string, std::string>& field) {
  if (!value.is_object()) return;
  for (const auto& [name, text] : value.items()) {
    if (text.is_string()) field[name] = text.get<std::string>();
  }
}

void read_json(const json& value, std::vector<std::string>& field) {
  if (!value.is_array()) return;
  for (const auto& text : value) {
    if (text.is_string()) field.push_back(text.get<std::string>());
  }
}

}  // namespace wrenfall
