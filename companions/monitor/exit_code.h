#ifndef WRENFALL_COMPANIONS_MONITOR_EXIT_CODE_H_
#define WRENFALL_COMPANIONS_MONITOR_EXIT_CODE_H_

#include <cstdint>

namespace wrenfall::monitor {

// Whether a process with this exit code was probably ended by an exception. The code alone cannot say
// it for certain.
bool is_crash_code(uint32_t exit_code);

// How many milliseconds a process that ends with the code had waited for a handler since its crash.
int64_t wait_before(uint32_t exit_code);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_EXIT_CODE_H_
