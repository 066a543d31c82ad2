#ifndef WRENFALL_COMPANIONS_MONITOR_REPORT_FOLDER_H_
#define WRENFALL_COMPANIONS_MONITOR_REPORT_FOLDER_H_

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "minidump/minidump_reader.h"
#include "monitor/claimed_dump.h"
#include "monitor/record_from_annotations.h"
#include "report/store/crash_data.h"
#include "support/logger.h"

namespace wrenfall::monitor {

// A dump becomes a report folder in these steps. A monitor may be killed after any of them:
//   1. an empty folder with a new name is made in the store;
//   2. the dump is moved in and stays claimed; from here on another monitor can finish the folder;
//   3. the dump is made to name the thread that it is of, and the attachments are copied in;
//   4. the record is written; only now is the folder a report.

// Steps 1 and 2. Nothing, with an error logged and no folder left, when the dump could not be moved.
std::optional<std::filesystem::path> move_into_new_folder(const std::filesystem::path& store,
                                                          ClaimedDump& dump, Logger& logger);

// Steps 3 and 4; then releases the claim. The attachments in `context` are filled in here. Nothing,
// with an error logged, when the record could not be written. `wait_for_release` waits until the process
// of the dump holds its files no longer, see copy_attachments().
std::optional<CrashData> finish_report_folder(const std::filesystem::path& folder,
                                              ClaimedDump& dump, const minidump::DumpFacts& facts,
                                              RecordContext context,
                                              const std::vector<std::string>& attachment_paths,
                                              Logger& logger,
                                              std::function<void()> wait_for_release = nullptr);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_REPORT_FOLDER_H_
