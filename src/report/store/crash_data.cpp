#include "report/store/crash_data.h"

#include <limits>
#include <optional>

#include "support/files.h"
#include "support/json_text.h"

namespace wrenfall {
namespace {

using nlohmann::json;

// Calls `visit(key, field)` for each field of the record.
template <typename Record, typename Visit>
void for_each_field(Record& data, Visit visit) {
  visit("schemaVersion", data.schemaVersion);
  visit("database", data.database);
  visit("appName", data.appName);
  visit("appVersion", data.appVersion);
  visit("crashTypeId", data.crashTypeId);
  visit("key", data.key);
  visit("user", data.user);
  visit("email", data.email);
  visit("userDescription", data.userDescription);
  visit("notes", data.notes);
  visit("environment", data.environment);
  visit("attributes", data.attributes);
  visit("captureBackend", data.captureBackend);
  visit("reportKind", data.reportKind);
  visit("dumpFile", data.dumpFile);
  visit("dumpType", data.dumpType);
  visit("dumpFormat", data.dumpFormat);
  visit("crashpadReportId", data.crashpadReportId);
  visit("attachments", data.attachments);
  visit("crashTime", data.crashTime);
  visit("signalOrExceptionCode", data.signalOrExceptionCode);
  visit("hangDurationMs", data.hangDurationMs);
  visit("platform", data.platform);
  visit("arch", data.arch);
  visit("osVersion", data.osVersion);
  visit("crashSignature", data.crashSignature);
  visit("crashSignatureHash", data.crashSignatureHash);
  visit("uploadPolicy", data.uploadPolicy);
  visit("openSupportUrl", data.openSupportUrl);
  visit("themeDir", data.themeDir);
  visit("locale", data.locale);
  visit("sdkVersion", data.sdkVersion);
  visit("monitorVersion", data.monitorVersion);
  visit("retryCount", data.retryCount);
  visit("ownerPid", data.ownerPid);
  visit("processId", data.processId);
}

void read(const json& value, std::string& field) {
  if (value.is_string()) field = value.get<std::string>();
}

void read(const json& value, bool& field) {
  if (value.is_boolean()) field = value.get<bool>();
}

// Takes a number that fits the field, or a boolean as 0 or 1.
template <typename Integer, typename Number>
void assign(const json& value, std::optional<Number> number, Integer& field) {
  if (value.is_boolean()) {
    field = value.get<bool>() ? 1 : 0;
  } else if (number && *number >= std::numeric_limits<Integer>::min() &&
             *number <= std::numeric_limits<Integer>::max()) {
    field = static_cast<Integer>(*number);
  }
}

void read(const json& value, int32_t& field) { assign(value, json_integer(value), field); }
void read(const json& value, int64_t& field) { assign(value, json_integer(value), field); }
void read(const json& value, uint64_t& field) { assign(value, json_unsigned(value), field); }

void read(const json& value, std::map<std::string, std::string>& field) {
  if (!value.is_object()) return;
  for (const auto& [name, text] : value.items()) {
    if (text.is_string()) field[name] = text.get<std::string>();
  }
}

void read(const json& value, std::vector<std::string>& field) {
  if (!value.is_array()) return;
  for (const auto& text : value) {
    if (text.is_string()) field.push_back(text.get<std::string>());
  }
}

}  // namespace

std::string serialize(const CrashData& data) {
  json object = json::object();
  for_each_field(data, [&object](const char* key, const auto& field) { object[key] = field; });
  object["quietMode"] = data.uploadPolicy == "quiet";
  return json_text(object, 2);
}

bool parse(const std::string& text, CrashData& data) {
  const json object = parse_json(text);
  if (!object.is_object()) return false;
  CrashData parsed;
  for_each_field(parsed, [&object](const char* key, auto& field) {
    const auto member = object.find(key);
    if (member != object.end()) read(*member, field);
  });
  if (parsed.uploadPolicy.empty()) parsed.uploadPolicy = "dialog";
  data = std::move(parsed);
  return true;
}

bool load(const std::filesystem::path& folder, CrashData& data) {
  std::string text;
  return read_file(folder / kCrashDataFile, text) && parse(text, data);
}

bool save(const std::filesystem::path& folder, const CrashData& data) {
  return try_write_file_atomic(folder / kCrashDataFile, serialize(data));
}

}  // namespace wrenfall
