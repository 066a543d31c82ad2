#include "backend/startup_annotations.h"

#include "backend/annotation_keys.h"
#include "support/text.h"

namespace wrenfall {

const char* upload_policy_text(uint32_t policy) {
  switch (policy) {
    case WRENFALL_UPLOAD_QUIET:
      return "quiet";
    case WRENFALL_UPLOAD_MANUAL:
      return "manual";
    default:
      return "dialog";
  }
}

const char* dump_type_text(uint32_t dump_type) {
  switch (dump_type) {
    case WRENFALL_DUMP_FULL:
      return "full";
    case WRENFALL_DUMP_HEAP:
      return "heap";
    default:
      return "normal";
  }
}

std::map<std::string, std::string> startup_annotations(const BackendConfiguration& configuration,
                                                       const ProcessIdentity& session) {
  return {
      {annotation::kDatabase, configuration.database},
      {annotation::kProduct, configuration.application},
      {annotation::kVersion, configuration.version},
      {annotation::kStore, path_to_utf8(configuration.store_dir)},
      {annotation::kReporter, path_to_utf8(configuration.reporter_path)},
      {annotation::kPolicy, upload_policy_text(configuration.upload_policy)},
      {annotation::kDumpType, dump_type_text(configuration.dump_type)},
      {annotation::kMinidumpFlags, std::to_string(configuration.minidump_flags)},
      {annotation::kThemeDir, path_to_utf8(configuration.theme_dir)},
      {annotation::kOpenSupportUrl, configuration.open_support_url ? "1" : "0"},
      {annotation::kCrashTypeId, std::to_string(configuration.crash_type_id)},
      {annotation::kSdkVersion, configuration.sdk_version},
      {annotation::kSession, session.text()},
  };
}

}  // namespace wrenfall
