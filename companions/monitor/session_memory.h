#ifndef WRENFALL_COMPANIONS_MONITOR_SESSION_MEMORY_H_
#define WRENFALL_COMPANIONS_MONITOR_SESSION_MEMORY_H_

#include <filesystem>
#include <string>
#include <vector>

#include "report/store/session_files.h"

namespace wrenfall::monitor {

// What the session file of a process said last. The file may be removed before the dump is looked
// at: by the process, when it shuts the library down, or by the next init after a crash.
class SessionMemory {
 public:
  SessionMemory(const std::filesystem::path& store, const ProcessIdentity& host)
      : file_(session_file(store, host)) {}

  // Reads the file again. Keeps what is known when there is no file.
  void refresh() {
    if (auto record = read_session(file_)) attachments_ = std::move(record->attachments);
  }

  const std::vector<std::string>& attachments() const { return attachments_; }

 private:
  const std::filesystem::path file_;
  std::vector<std::string> attachments_;
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_SESSION_MEMORY_H_
