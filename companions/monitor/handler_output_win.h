#ifndef WRENFALL_COMPANIONS_MONITOR_HANDLER_OUTPUT_WIN_H_
#define WRENFALL_COMPANIONS_MONITOR_HANDLER_OUTPUT_WIN_H_

#include <windows.h>

#include <string>

#include "support/logger.h"
#include "support/win_handle.h"

namespace wrenfall::monitor {

// The capture handler's standard error output, which says why a dump could not be written. Used by
// one thread. When the pipe cannot be made, there is simply nothing to log.
class HandlerOutput {
 public:
  HandlerOutput();

  // The end that the handler inherits; null when there is no pipe.
  HANDLE write_end() const { return write_end_.get(); }

  // Logs the whole lines that have come since the last call. Does not wait.
  void log_new_lines(Logger& logger);

  // Logs all that is left, after the handler's end; the last line need not be whole.
  void log_rest(Logger& logger);

 private:
  // False when there is nothing more to read.
  bool read_some();
  void read_all();
  static void log_line(Logger& logger, std::string line);

  ScopedKernelHandle read_end_;
  ScopedKernelHandle write_end_;
  std::string text_;  // read, but not logged yet
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_HANDLER_OUTPUT_WIN_H_
