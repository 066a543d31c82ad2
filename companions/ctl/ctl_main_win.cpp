#include <wrenfall/wrenfall.h>

#include <exception>

#include "common/program_io.h"
#include "common/program_start.h"
#include "ctl/ctl_commands.h"
#include "ctl/ctl_options.h"
#include "support/error_text.h"

int wmain() {
  using namespace wrenfall::ctl;
  wrenfall::prepare_program();
  try {
    return run_ctl(parse_ctl_options(wrenfall::program_arguments()));
  } catch (const std::exception& error) {
    return report_failure(WRENFALL_ERROR_FILE, wrenfall::error_text(error));
  }
}
