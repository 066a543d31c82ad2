#include "report/store/crash_data.h"

#include "report/store/json_fields.h"
#include "report/store/layout.h"
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

}  // namespace

std::string serialize(const CrashData& data) {
  json object = json::object();
  for_each_field(data, JsonFieldWriter(object));
  object["quietMode"] = data.uploadPolicy == kPolicyQuiet;
  return json_text(object, 2);
}

bool parse(const std::string& text, CrashData& data) {
  const json object = parse_json(text);
  if (!object.is_object()) return false;
  CrashData parsed;
  for_each_field(parsed, JsonFieldReader(object));
  if (parsed.uploadPolicy.empty()) parsed.uploadPolicy = kPolicyDialog;
  data = std::move(parsed);
  return true;
}

RecordState read_record(const std::filesystem::path& folder, CrashData& data) {
  const std::filesystem::path file = folder / kCrashDataFile;
  // Read once: a record that is being replaced must not pass for a damaged one.
  if (std::string text; read_file(file, text, kMaxRecordBytes)) {
    return parse(text, data) ? RecordState::kLoaded : RecordState::kDamaged;
  }
  if (!is_file(file)) return RecordState::kMissing;
  return size_of_file(file).value_or(0) > kMaxRecordBytes ? RecordState::kDamaged
                                                          : RecordState::kUnreadable;
}

bool load(const std::filesystem::path& folder, CrashData& data) {
  return read_record(folder, data) == RecordState::kLoaded;
}

bool save(const std::filesystem::path& folder, const CrashData& data) {
  return write_file_atomic(folder / kCrashDataFile, serialize(data));
}

}  // namespace wrenfall
