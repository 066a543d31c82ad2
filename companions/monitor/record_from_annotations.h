#ifndef WRENFALL_COMPANIONS_MONITOR_RECORD_FROM_ANNOTATIONS_H_
#define WRENFALL_COMPANIONS_MONITOR_RECORD_FROM_ANNOTATIONS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "minidump/minidump_reader.h"
#include "report/store/crash_data.h"
#include "report/store/layout.h"
#include "support/process.h"

namespace wrenfall::monitor {

// What the record says that does not come from the dump.
struct RecordContext {
  std::string crashpad_report_id;
  std::vector<std::string> attachments;  // file names in the report folder
  std::string now;                       // the time of a dump that does not tell its own
  std::string architecture;
  std::string os_version;
  uint64_t monitor_pid = 0;
};

// The session that the dump is of. Nothing when it does not say. Taken from what the handler was
// started with alone, so that damage in the crashed process cannot change whose dump it is.
std::optional<ProcessIdentity> session_of(const minidump::DumpFacts& facts);

// Whether the dump is of a crash, and was not asked for.
bool is_crash(const minidump::DumpFacts& facts);

// Whether the dump is of a hang after which the process is to be ended.
bool asks_for_termination(const minidump::DumpFacts& facts);

// The crash-data record for a dump. Live annotations win over those from the start; unknown ones
// are ignored. The monitor owns a report that it hands to the reporter, and nobody one that waits
// for the host.
CrashData record_from_annotations(const minidump::DumpFacts& facts, const RecordContext& context);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_RECORD_FROM_ANNOTATIONS_H_
