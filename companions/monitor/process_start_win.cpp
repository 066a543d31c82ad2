#include "monitor/process_start_win.h"

#include "support/command_line.h"
#include "support/process_start_win.h"

namespace wrenfall::monitor {

ScopedKernelHandle start_handler(const std::filesystem::path& handler, HANDLE error_output) {
  return start_process(handler, with_program(GetCommandLineW(), handler.native()), true,
                       error_output);
}

}  // namespace wrenfall::monitor
