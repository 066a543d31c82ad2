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
  ProcessIdentity session;
  std::vector<std::string> attachments;  // paths, UTF-8
};

std::filesystem::path session_file(const std::filesystem::path& root,
                                   const ProcessIdentity& session);

// Where the sweep leaves the file of a process that is gone while dumps still wait to become
// reports: they are to carry its attachments.
std::filesystem::path kept_session_file(const std::filesystem::path& root,
                                        const ProcessIdentity& session);

// False when the file could not be written.
bool write_session(const std::filesystem::path& root, const SessionRecord& record);

// Nothing when the text is not that of a session file.
std::optional<SessionRecord> parse_session(const std::string& text);

// Nothing when the file is missing or is not a session file.
std::optional<SessionRecord> read_session(const std::filesystem::path& file);

void remove_session(const std::filesystem::path& root, const ProcessIdentity& session);

// Removes the session files of processes that are gone, and all other files. A file that cannot be
// read at the moment, or that a running process is about to put in place, stays. Throws
// DirectoryIterationError.
void sweep_sessions(const std::filesystem::path& root);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_SESSION_FILES_H_
