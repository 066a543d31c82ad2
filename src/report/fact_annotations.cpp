#include "report/fact_annotations.h"

#include <wrenfall/wrenfall.h>

#include "report/limit_annotations.h"
#include "support/text.h"

namespace wrenfall {

std::map<std::string, std::string> startup_annotations(const CrashData& facts,
                                                       const HandlerPlaces& places) {
  std::map<std::string, std::string> annotations = {
      {annotation::kStore, path_to_utf8(places.store_dir)},
      {annotation::kReporter, path_to_utf8(places.reporter_path)},
      {annotation::kMinidumpFlags, std::to_string(places.minidump_flags)},
      {annotation::kOpenSupportUrl, facts.openSupportUrl ? "1" : "0"},
      {annotation::kSession, places.process.text()},
  };
  if (places.run != 1) annotations[annotation::kRun] = std::to_string(places.run);
  add_limit_annotations(places.limits, annotations);
  for (const FactAnnotation& fact : kFactAnnotations) {
    if (fact.when == FactAnnotation::When::kAtStart) annotations[fact.key] = facts.*fact.field;
  }
  return annotations;
}

void set_platform(const PlatformFacts& platform, CrashData& record) {
  record.platform = platform.family;
  record.arch = platform.architecture;
  record.osVersion = describe(platform);
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

}  // namespace wrenfall
