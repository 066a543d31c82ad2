#ifndef WRENFALL_BACKEND_HANDLER_WATCH_WIN_H_
#define WRENFALL_BACKEND_HANDLER_WATCH_WIN_H_

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/win_handle.h"

namespace wrenfall {

// Knows whether the processes that write the dumps are still alive: the program that was started as
// the handler and, when that is the monitor, the handler that it started. The capture client does not
// say which processes these are, so they are looked up among the children. A process that was not
// found counts as alive. One thread at a time may use an object.
class HandlerWatch {
 public:
  // Forgets what was found and notes the time. Call it before the program is started.
  void expect(const std::filesystem::path& program);

  // Looks for the processes that are not found yet, in a list of all processes of the system. Costs
  // nothing once both are found.
  void find();

  bool has_ended() const;

  // The processes that were found. Their handles are signalled when they end.
  std::vector<HANDLE> processes() const;

 private:
  std::wstring program_name_;
  uint64_t started_after_ = 0;
  ScopedKernelHandle program_;
  ScopedKernelHandle handler_;
};

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_HANDLER_WATCH_WIN_H_
