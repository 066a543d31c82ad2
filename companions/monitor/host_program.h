#ifndef WRENFALL_COMPANIONS_MONITOR_HOST_PROGRAM_H_
#define WRENFALL_COMPANIONS_MONITOR_HOST_PROGRAM_H_

#include <filesystem>
#include <string>
#include <vector>

#include "support/process.h"

namespace wrenfall::monitor {

// What the reporter needs to start the watched program again and to show its icon.
struct HostProgram {
  std::filesystem::path program;
  std::filesystem::path::string_type command_line;
  std::filesystem::path folder;  // in which the command line names other files
};

// Read while the process runs, by the monitor that it started. A part that the system does not tell is
// empty, and so is a command line that is too long for another one to hold.
HostProgram read_host_program(const ProcessIdentity& host);

// The arguments of a reporter that is started on that folder.
std::vector<std::filesystem::path> reporter_arguments(const std::filesystem::path& folder,
                                                      const HostProgram& host);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_HOST_PROGRAM_H_
