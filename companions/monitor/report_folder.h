#ifndef WRENFALL_COMPANIONS_MONITOR_REPORT_FOLDER_H_
#define WRENFALL_COMPANIONS_MONITOR_REPORT_FOLDER_H_

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "minidump/minidump_reader.h"
#include "monitor/claimed_dump.h"
#include "monitor/record_from_annotations.h"
#include "report/store/crash_data.h"
#include "support/logger.h"

namespace wrenfall::monitor {

// A dump becomes a report folder in these steps, each of which a killed monitor may have been the
// last to take:
//   1. an empty folder of a new name in the store;
//   2. the dump is moved in, and still claimed; from here on another monitor can finish the folder;
//   3. the attachments are copied in;
//   4. the record is written: now, and only now, the folder is a report.

// Step 1 and 2. Nothing, with an error logged and no folder left, when the dump could not be moved.
std::optional<std::filesystem::path> move_into_new_folder(const std::filesystem::path& store,
                                                          ClaimedDump& dump, Logger& logger);

// Steps 3 and 4, and the end of the claim. `context` need not name attachments. Nothing, with an
// error logged, when the record could not be written.
std::optional<CrashData> finish_report_folder(const std::filesystem::path& folder,
                                              ClaimedDump& dump, const minidump::DumpFacts& facts,
                                              RecordContext context,
                                              const std::vector<std::string>& attachment_paths,
                                              Logger& logger);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_REPORT_FOLDER_H_
