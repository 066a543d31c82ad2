#ifndef WRENFALL_REPORT_STORE_SESSION_FILES_H_
#define WRENFALL_REPORT_STORE_SESSION_FILES_H_

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/process.h"

namespace wrenfall {

// A session file says that a process runs with the library initialized, and which files its reports
// are to carry:
// "<store>/sessions/<process id>-<start time>.json", compact JSON with "pid", "startTime" and
// "attachments". It is written by init, replaced when the attachments change, read by the monitor,
// removed by shutdown; a file whose process is gone marks a run that did not end cleanly, and the
// next init removes it.
struct SessionRecord {
  ProcessIdentity process;
  std::vector<std::string> attachments;  // paths, UTF-8
};

std::filesystem::path session_file(const std::filesystem::path& root,
                                   const ProcessIdentity& process);

// Where the sweep keeps the session file of a process that is gone while dumps still wait to become
// reports: those reports need its list of attachments.
std::filesystem::path kept_session_file(const std::filesystem::path& root,
                                        const ProcessIdentity& process);

// False when the file could not be written.
bool write_session(const std::filesystem::path& root, const SessionRecord& record);

// As many attachments as a process can register; what a file lists beyond them does not count.
inline constexpr size_t kMaxAttachments = 24;

// Nothing when the text is not that of a session file.
std::optional<SessionRecord> parse_session(const std::string& text);

// Nothing when the file is missing, cannot be read or is not a session file; one of more than 1 MiB
// is none.
std::optional<SessionRecord> read_session(const std::filesystem::path& file);

void remove_session(const std::filesystem::path& root, const ProcessIdentity& process);

// Removes every file from the sessions folder but the session files of running processes. A file
// that cannot be read at present, or that a running process is still writing, stays. Throws
// DirectoryIterationError.
void sweep_sessions(const std::filesystem::path& root);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_SESSION_FILES_H_
