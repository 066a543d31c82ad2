#include <windows.h>
#include <wrenfall/wrenfall.h>

#include <exception>

#include "common/program_io.h"
#include "ctl/ctl_commands.h"
#include "ctl/ctl_options.h"

int wmain() {
  using namespace wrenfall::ctl;
  // Nothing that a system library loads later is to come from the program's or the current folder.
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  // A damaged drive must not open a window.
  SetErrorMode(SEM_FAILCRITICALERRORS);
  try {
    return run_ctl(parse_ctl_options(wrenfall::program_arguments()));
  } catch (const std::exception& error) {
    return report_failure(WRENFALL_ERROR_FILE, error.what());
  }
}
