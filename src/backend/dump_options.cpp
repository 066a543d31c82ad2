#include "backend/dump_options.h"

#include "backend/annotation_keys.h"

namespace wrenfall {

std::string unheeded_dump_options(const std::map<std::string, std::string>& startup_annotations) {
  std::string asked;
  const auto note = [&](const char* key, const char* ordinary, const char* what) {
    const auto found = startup_annotations.find(key);
    if (found == startup_annotations.end() || found->second == ordinary) return;
    asked += (asked.empty() ? "" : ", ") + std::string(what) + " " + found->second;
  };
  note(annotation::kDumpType, "normal", "dump type");
  note(annotation::kMinidumpFlags, "0", "minidump flags");
  if (asked.empty()) return asked;
  return "The capture handler decides itself what dumps hold; without effect: " + asked;
}

}  // namespace wrenfall
