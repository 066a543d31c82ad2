#ifndef WRENFALL_REPORT_STORE_JSON_FIELDS_H_
#define WRENFALL_REPORT_STORE_JSON_FIELDS_H_

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace wrenfall {

// Records on disk are JSON objects with a member for each field. A record lists its fields once, by
// a function that calls a visitor with the key and the field of each; these are the visitors.

// One member's value. A value of another type, or a number that does not fit, leaves the field as it
// is. Numbers take a boolean as 0 or 1; of maps and lists the elements that are strings are added.
void read_json(const nlohmann::json& value, std::string& field);
void read_json(const nlohmann::json& value, bool& field);
void read_json(const nlohmann::json& value, int32_t& field);
void read_json(const nlohmann::json& value, int64_t& field);
void read_json(const nlohmann::json& value, uint64_t& field);
void read_json(const nlohmann::json& value, std::map<std::string, std::string>& field);
void read_json(const nlohmann::json& value, std::vector<std::string>& field);

// Takes each field from the member of its key; a field without a member keeps its value.
class JsonFieldReader {
 public:
  explicit JsonFieldReader(const nlohmann::json& object) : object_(object) {}

  template <typename Field>
  void operator()(const char* key, Field& field) const {
    const auto member = object_.find(key);
    if (member != object_.end()) read_json(*member, field);
  }

 private:
  const nlohmann::json& object_;
};

// Writes each field into the object.
class JsonFieldWriter {
 public:
  explicit JsonFieldWriter(nlohmann::json& object) : object_(object) {}

  template <typename Field>
  void operator()(const char* key, const Field& field) const {
    object_[key] = field;
  }

 private:
  nlohmann::json& object_;
};

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_JSON_FIELDS_H_
