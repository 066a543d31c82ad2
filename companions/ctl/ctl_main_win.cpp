#include <windows.h>
#include <wrenfall/wrenfall.h>

#include <exception>

#include "common/program_io.h"
#include "ctl/ctl_commands.h"
#include "ctl/ctl_options.h"

int wmain() {
  using namespace wrenfall::ctl;
  // Libraries that the system loads later must not come from the program's or the current folder,
  // where others may have put files of the same names.
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  // Without this the system opens a window about a damaged drive.
  SetErrorMode(SEM_FAILCRITICALERRORS);
  try {
    return run_ctl(parse_ctl_options(wrenfall::program_arguments()));
  } catch (const std::exception& error) {
    return report_failure(WRENFALL_ERROR_FILE, error.what());
  }
}
