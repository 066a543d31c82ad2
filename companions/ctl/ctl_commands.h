#ifndef WRENFALL_COMPANIONS_CTL_CTL_COMMANDS_H_
#define WRENFALL_COMPANIONS_CTL_CTL_COMMANDS_H_

#include <filesystem>
#include <string>

#include "ctl/ctl_options.h"

namespace wrenfall::ctl {

// Does what the options say, prints it, and returns the exit code. Throws filesystem_error when a
// folder can no longer be listed.
int run_ctl(const CtlOptions& options);

// Prints what went wrong to the error stream, and returns `result` as the exit code.
int report_failure(int result, const std::string& explanation);

// The same for a store that does not exist.
int no_store(const std::filesystem::path& store);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_CTL_COMMANDS_H_
