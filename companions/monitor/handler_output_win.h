#ifndef WRENFALL_COMPANIONS_MONITOR_HANDLER_OUTPUT_WIN_H_
#define WRENFALL_COMPANIONS_MONITOR_HANDLER_OUTPUT_WIN_H_

#include <windows.h>

#include <string>

#include "support/logger.h"
#include "support/win_handle.h"

namespace wrenfall::monitor {

// What the capture handler says on its standard error output: why a dump could not be written,
// above all. Used by one thread. Where no pipe can be made nothing is ever said.
class HandlerOutput {
 public:
  HandlerOutput();

  // For the handler to inherit; null when there is none.
  HANDLE write_end() const { return write_end_.get(); }

  // Logs the lines that have come since; never waits. At the end of the handler the last of them
  // need not be whole.
  void pass_on(Logger& logger, bool at_end);

 private:
  // False when nothing more is there.
  bool read_some();

  ScopedKernelHandle read_end_;
  ScopedKernelHandle write_end_;
  std::string text_;  // what was not logged yet
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_HANDLER_OUTPUT_WIN_H_
