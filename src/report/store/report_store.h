#ifndef WRENFALL_REPORT_STORE_REPORT_STORE_H_
#define WRENFALL_REPORT_STORE_REPORT_STORE_H_

#include <cstdint>
#include <filesystem>
#include <vector>

#include "report/store/crash_data.h"

namespace wrenfall {

// The store is a folder with one sub-folder, of any name, per report. A sub-folder counts as a
// report once it holds the crash-data file. Several processes use a store at the same time without
// a lock: files are replaced as a whole, and a report that a living process owns is left to it.

// Whether the folder is one of the library's own in a store. Those are never reports, whatever lies in
// them.
bool is_own_folder(const std::filesystem::path& folder);

// Whether the folder holds a dump that no monitor has finished making a report of.
bool is_half_made(const std::filesystem::path& folder);

enum class ReportState {
  kPending,     // waits to be sent
  kOwned,       // in the hands of the record's owner, another process or a thread of this one
  kHasResult,   // there was an attempt to send it, or it is being discarded
  kUnreadable,  // the record is damaged, or cannot be opened
};

// The state of a report folder whose record was read; `owner` is the record's ownerPid.
ReportState state_of_report(const std::filesystem::path& folder, uint64_t owner);

// The state of a report folder; its record is read into `record` unless it is unreadable.
ReportState report_state(const std::filesystem::path& folder, CrashData& record);

struct ListedReport {
  std::filesystem::path folder;
  int64_t record_time;  // of the last write to the crash-data file, as file_write_time() gives it
};

// The reports directly under the root, the one with the oldest crash-data file first; none when the
// root cannot be opened. Throws DirectoryIterationError.
std::vector<ListedReport> list_reports(const std::filesystem::path& root);

// The same as folders alone.
std::vector<std::filesystem::path> list_report_folders(const std::filesystem::path& root);

// Deletes a report folder with its contents; false when it is still there. The record is deleted
// last but one and the result last: where a file cannot be deleted, what is left is neither pending
// nor taken for a report that is only half made.
bool remove_report_folder(const std::filesystem::path& folder);

// The bytes of the files that lie directly in a folder. Throws DirectoryIterationError.
uint64_t size_of_files(const std::filesystem::path& folder);

// Deletes a report folder that is not to be sent, and whose claim the caller holds. False when it is
// still there; it is then not pending.
bool discard_claimed_report(const std::filesystem::path& folder);

// Deletes a report folder that is not to be sent. False when it is still there, when another thread
// or process is sending it, and for a folder that neither lies directly under the root nor holds a
// crash-data file: a wrong path must not cost the host its own files.
bool discard_report_folder(const std::filesystem::path& root, const std::filesystem::path& folder);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_REPORT_STORE_H_
