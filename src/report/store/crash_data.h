#ifndef WRENFALL_REPORT_STORE_CRASH_DATA_H_
#define WRENFALL_REPORT_STORE_CRASH_DATA_H_

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "report/store/upload_policy.h"

namespace wrenfall {

// Everything about a report but its dump and attachments: the one format through which the library,
// the monitor and the reporter hand a report to each other. Stored as "WrenfallCrashData.json" in
// the report folder, one JSON member a field, under the field's name. A plain value; texts are
// UTF-8.
struct CrashData {
  int32_t schemaVersion = 2;
  std::string database;  // the service database
  std::string appName;
  std::string appVersion;
  std::string crashTypeId;
  std::string key;
  std::string user;
  std::string email;
  std::string userDescription;
  std::string notes;
  std::string environment;
  std::map<std::string, std::string> attributes;
  std::string captureBackend;
  std::string reportKind;
  std::string dumpFile;
  std::string dumpType;
  std::string dumpFormat;
  std::string crashpadReportId;
  std::vector<std::string> attachments;
  std::string crashTime;  // UTC, ISO 8601
  std::string signalOrExceptionCode;
  int64_t hangDurationMs = 0;
  std::string platform;
  std::string arch;
  std::string osVersion;
  std::string crashSignature;
  std::string crashSignatureHash;
  std::string uploadPolicy = kPolicyDialog;
  bool openSupportUrl = true;
  std::string themeDir;
  std::string locale;
  std::string sdkVersion;
  std::string monitorVersion;
  int32_t retryCount = 0;  // failed upload attempts so far
  uint64_t ownerPid = 0;   // the process that works on the report; 0 for none
  uint64_t processId = 0;  // the process that the report is about
};

// The JSON text: every field, and "quietMode", which repeats whether uploadPolicy is "quiet" and is
// never read back.
std::string serialize(const CrashData& data);

// False, with `data` untouched, when the text is not a JSON object. Members that are missing, null
// or of the wrong type leave their field at its default, and so does a number that does not fit the
// field.
bool parse(const std::string& text, CrashData& data);

// A larger record is damaged: the library's own texts are limited to some hundred kilobytes.
inline constexpr uint64_t kMaxRecordBytes = uint64_t{64} << 20;

enum class RecordState {
  kLoaded,
  kMissing,
  kUnreadable,  // it is there, but cannot be opened or read for now
  kDamaged,     // not what a record looks like
};

// Reads the folder's record; `data` is untouched unless that succeeds.
RecordState read_record(const std::filesystem::path& folder, CrashData& data);

// The same for callers to whom every failure is the same: whether it was loaded.
bool load(const std::filesystem::path& folder, CrashData& data);

// Replaces the folder's record atomically; false when it could not be written.
bool save(const std::filesystem::path& folder, const CrashData& data);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_CRASH_DATA_H_
