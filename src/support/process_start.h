#ifndef WRENFALL_SUPPORT_PROCESS_START_H_
#define WRENFALL_SUPPORT_PROCESS_START_H_

#include <cstdint>
#include <filesystem>
#include <vector>

namespace wrenfall {

// Starts a program with these arguments and does not wait for it. It inherits nothing: no handles, not
// the current folder, which would be in use as long as it runs, not the error mode, and, where the
// system allows that, not the job. No console window opens for it. Returns 0, or the system's number of the error. Where the system lacks something
// for the moment, this waits and starts it again, for less than half a second in all.
uint32_t start_program(const std::filesystem::path& program,
                       const std::vector<std::filesystem::path>& arguments);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_PROCESS_START_H_
