#ifndef WRENFALL_BACKEND_HANDLER_WATCH_WIN_H_
#define WRENFALL_BACKEND_HANDLER_WATCH_WIN_H_

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/win_handle.h"

namespace wrenfall {

// Knows whether the processes that write the dumps still live: the program that was started as the
// handler and, where that is the monitor, the handler below it. The capture client does not tell
// which processes these are, so they are looked up among the children. Without a process found
// nothing is ever taken for dead. Not for several threads at once.
class HandlerWatch {
 public:
  // Forgets what was found, and remembers the time: the program is started after this.
  void expect(const std::filesystem::path& program);

  // Looks for the processes not found yet. Costs a walk through the system's processes until both
  // are found, then nothing.
  void find();

  bool has_ended() const;

  // What was found; signalled once ended.
  std::vector<HANDLE> processes() const;

 private:
  std::wstring program_name_;
  uint64_t started_after_ = 0;
  ScopedKernelHandle program_;
  ScopedKernelHandle handler_;
};

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_HANDLER_WATCH_WIN_H_
