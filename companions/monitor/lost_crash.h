#ifndef WRENFALL_COMPANIONS_MONITOR_LOST_CRASH_H_
#define WRENFALL_COMPANIONS_MONITOR_LOST_CRASH_H_

#include <cstdint>
#include <string>

namespace wrenfall::monitor {

// The line of the log for a process that ended with that code and left no dump of a crash. Empty when
// the code is not that of a crash. The disk may have been full, so the line says how full it is.
std::string lost_crash_line(uint64_t process_id, uint32_t exit_code, uint64_t free_bytes);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_LOST_CRASH_H_
