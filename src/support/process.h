#ifndef WRENFALL_SUPPORT_PROCESS_H_
#define WRENFALL_SUPPORT_PROCESS_H_

#include <cstdint>
#include <optional>
#include <string>

namespace wrenfall {

uint32_t current_process_id();
uint32_t current_thread_id();

// The current process's creation time in 100 ns units since 1601-01-01 UTC (a FILETIME), 0 when it
// cannot be read.
uint64_t current_process_start_time();

// Whether a process of that id runs. One that may not be queried counts as running.
bool is_process_running(uint64_t process_id);

// Identifies a process: its id and, because ids are used again, its creation time.
struct ProcessIdentity {
  uint64_t process_id = 0;
  uint64_t start_time = 0;

  // "<process id>-<start time>", both in decimal.
  std::string text() const;
  static std::optional<ProcessIdentity> parse(const std::string& text);

  bool operator==(const ProcessIdentity& other) const {
    return process_id == other.process_id && start_time == other.start_time;
  }
};

ProcessIdentity current_process();

// Keeps the module that holds this code mapped until the process ends.
void keep_library_loaded();

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_PROCESS_H_
