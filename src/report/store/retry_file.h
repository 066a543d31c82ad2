#ifndef WRENFALL_REPORT_STORE_RETRY_FILE_H_
#define WRENFALL_REPORT_STORE_RETRY_FILE_H_

#include <filesystem>
#include <optional>
#include <string>

#include "report/store/resend_schedule.h"

namespace wrenfall {

// "retry.json" in a report folder, written only where the host turned resending on. Its presence says
// that the report is kept for another attempt where the ordinary rule would delete it, whichever
// program sends it. It is compact JSON:
//
//   {"agreed":false,"attempts":2,"firstAttempt":1769900000,"lastAttempt":1769900400,"retryAfter":0,
//    "wrenfallRetry":1}
//
// A host may attach a file of its own that has this name, so only one with "wrenfallRetry" counts.
// The file never becomes part of the archive.

// What the folder's file says; nothing when there is none, or it is the host's.
std::optional<RetryState> read_retry(const std::filesystem::path& folder);

// Replaces the file as a whole. False when it could not be written, or a file of the host's has the
// name.
bool write_retry(const std::filesystem::path& folder, const RetryState& state);

// Marks the folder as one that is to be resent, unless it is marked already. False as above.
bool mark_for_resend(const std::filesystem::path& folder);

// Whether the path is that of such a file, rather than of one of the host's.
bool is_retry_file(const std::filesystem::path& file);

// What the spread of the report's attempts comes from.
std::string resend_id(const std::filesystem::path& folder);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_RETRY_FILE_H_
