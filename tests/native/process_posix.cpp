#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>

#include "support/process.h"
#include "support/process_start.h"
#include "tests/native/process_times_posix.h"

namespace wrenfall {

uint32_t current_process_id() { return static_cast<uint32_t>(getpid()); }

uint32_t current_thread_id() { return static_cast<uint32_t>(gettid()); }

uint64_t current_process_start_time() { return process_start_time(getpid()); }

bool is_process_running(uint64_t process_id) {
  if (process_id == 0 || process_id > INT_MAX) return false;
  return kill(static_cast<pid_t>(process_id), 0) == 0 || errno == EPERM;
}

void keep_library_loaded() {}

// There are no companions to start here.
uint32_t start_program(const std::filesystem::path&, const std::vector<std::filesystem::path>&) {
  return ENOENT;
}

}  // namespace wrenfall
