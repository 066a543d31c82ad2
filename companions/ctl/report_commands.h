#ifndef WRENFALL_COMPANIONS_CTL_REPORT_COMMANDS_H_
#define WRENFALL_COMPANIONS_CTL_REPORT_COMMANDS_H_

#include <filesystem>

#include "ctl/ctl_options.h"

namespace wrenfall::ctl {

// Runs a command about one report that leaves the report as it is: show, stack, open or export. Returns
// the exit code. `store` is empty when the options name none. Throws filesystem_error when a folder can
// no longer be listed.
int run_report_command(const CtlOptions& options, const std::filesystem::path& store);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_REPORT_COMMANDS_H_
