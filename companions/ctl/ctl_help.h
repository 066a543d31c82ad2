#ifndef WRENFALL_COMPANIONS_CTL_CTL_HELP_H_
#define WRENFALL_COMPANIONS_CTL_CTL_HELP_H_

#include <string>

#include "ctl/ctl_options.h"

namespace wrenfall::ctl {

// The text of --help: about one command, or about all when `command` is none that does something.
std::string help_text(CtlOptions::Command command);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_CTL_HELP_H_
