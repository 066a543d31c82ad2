#ifndef WRENFALL_COMPANIONS_MONITOR_RECORD_FROM_ANNOTATIONS_H_
#define WRENFALL_COMPANIONS_MONITOR_RECORD_FROM_ANNOTATIONS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "backend/platform_facts.h"
#include "minidump/exception_thread.h"
#include "minidump/minidump_reader.h"
#include "report/store/crash_data.h"
#include "report/store/layout.h"
#include "support/process.h"

namespace wrenfall::monitor {

// What a record needs beside the facts of the dump.
struct RecordContext {
  std::string crashpad_report_id;
  std::vector<std::string> attachments;  // file names in the report folder
  std::string now;                       // for dumps that do not hold their own time
  PlatformFacts platform;
  std::string locale;  // the user's language
  uint64_t monitor_pid = 0;
  uint64_t dropped_before = 0;  // how many dumps the limit of reports cost since the last report
};

// The process that the dump is of; nothing when the dump does not say. Read from the start-up
// annotations alone, so that damage in the crashed process cannot change whose dump it is.
std::optional<ProcessIdentity> process_of(const minidump::DumpFacts& facts);

// In which run of the process the dump was asked for: 1 unless the dump says another, kRunWithoutEvents
// when that is no number. Read from the start-up annotations too.
uint32_t run_of(const minidump::DumpFacts& facts);

// Whether the dump is of a crash rather than one on demand.
bool is_crash(const minidump::DumpFacts& facts);

// The thread that a dump on demand is of, and how it is to be shown.
struct ThreadOfInterest {
  uint32_t id = 0;
  minidump::ShownContext context = minidump::ShownContext::kUnchanged;
};

// Nothing for a crash, and for a dump that does not say.
std::optional<ThreadOfInterest> thread_of_interest(const minidump::DumpFacts& facts);

// Whether the dump is of a hang after which the process is to be ended.
bool asks_for_termination(const minidump::DumpFacts& facts);

// The crash-data record for a dump. Live annotations win over those from the start; unknown ones are
// ignored. A report that the monitor gives to the reporter is owned by the monitor; a report that
// waits for the host has no owner.
CrashData record_from_annotations(const minidump::DumpFacts& facts, const RecordContext& context);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_RECORD_FROM_ANNOTATIONS_H_
