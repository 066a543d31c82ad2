#include "monitor/lost_crash.h"

#include "monitor/exit_code.h"
#include "support/encoding.h"

namespace wrenfall::monitor {
std::string lost_crash_line(uint64_t process_id, uint32_t exit_code, uint64_t free_bytes) {
  if (!is_crash_code(exit_code)) return {};
  return "Process " + std::to_string(process_id) + " ended with code " + hex_code(exit_code) +
         ", but no dump of a crash came (" + std::to_string(free_bytes >> 20) + " MiB free)";
}

}  // namespace wrenfall::monitor
