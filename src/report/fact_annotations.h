#ifndef WRENFALL_REPORT_FACT_ANNOTATIONS_H_
#define WRENFALL_REPORT_FACT_ANNOTATIONS_H_

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "backend/annotation_keys.h"
#include "backend/platform_facts.h"
#include "report/store/crash_data.h"
#include "report/store/store_limits.h"
#include "support/process.h"

namespace wrenfall {

// How the texts of a record travel in a dump. The library publishes them from its facts, and the
// monitor reads the record back out of the dump: one table says which annotation is which field.
struct FactAnnotation {
  enum class When {
    kAtStart,  // told to the handler when it starts
    kLive,     // set in the running process, empty values included, and changed there
    kBackend,  // live too, but set by the backend when it has started
  };
  const char* key;
  std::string CrashData::*field;
  When when;
};

// Live ones in the order in which init publishes them.
inline constexpr FactAnnotation kFactAnnotations[] = {
    {annotation::kDatabase, &CrashData::database, FactAnnotation::When::kAtStart},
    {annotation::kProduct, &CrashData::appName, FactAnnotation::When::kAtStart},
    {annotation::kVersion, &CrashData::appVersion, FactAnnotation::When::kAtStart},
    {annotation::kPolicy, &CrashData::uploadPolicy, FactAnnotation::When::kAtStart},
    {annotation::kDumpType, &CrashData::dumpType, FactAnnotation::When::kAtStart},
    {annotation::kThemeDir, &CrashData::themeDir, FactAnnotation::When::kAtStart},
    {annotation::kCrashTypeId, &CrashData::crashTypeId, FactAnnotation::When::kAtStart},
    {annotation::kSdkVersion, &CrashData::sdkVersion, FactAnnotation::When::kAtStart},
    {annotation::kEnvironment, &CrashData::environment, FactAnnotation::When::kBackend},
    {annotation::kKey, &CrashData::key, FactAnnotation::When::kLive},
    {annotation::kUser, &CrashData::user, FactAnnotation::When::kLive},
    {annotation::kEmail, &CrashData::email, FactAnnotation::When::kLive},
    {annotation::kDescription, &CrashData::userDescription, FactAnnotation::When::kLive},
    {annotation::kNotes, &CrashData::notes, FactAnnotation::When::kLive},
};

// The annotation of a field that has one.
constexpr const char* annotation_key(std::string CrashData::*field) {
  for (const FactAnnotation& fact : kFactAnnotations) {
    if (fact.field == field) return fact.key;
  }
  return nullptr;
}

// What the handler is told beside the facts.
struct HandlerPlaces {
  std::filesystem::path store_dir;
  std::filesystem::path reporter_path;
  uint32_t minidump_flags = 0;
  ProcessIdentity process;
  StoreLimits limits;
  uint32_t run = 1;  // of the process, counted from 1
};

// What the handler is told when it starts, for every dump of that process.
std::map<std::string, std::string> startup_annotations(const CrashData& facts,
                                                       const HandlerPlaces& places);

// The fields of a record that say what the report's process ran on.
void set_platform(const PlatformFacts& platform, CrashData& record);

// The text of the record's "dumpType" for the host's number: "full", "heap", else "normal".
const char* dump_type_text(uint32_t dump_type);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_FACT_ANNOTATIONS_H_
