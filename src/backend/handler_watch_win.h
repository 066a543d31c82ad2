#ifndef WRENFALL_BACKEND_HANDLER_WATCH_WIN_H_
#define WRENFALL_BACKEND_HANDLER_WATCH_WIN_H_

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/win_handle.h"

namespace wrenfall {

// Knows whether the process that writes the dumps is still alive. That is the handler; when the program
// that was started is the monitor, the handler is its child. The dumps of a handler whose monitor was
// killed are complete too, and the next monitor takes them. The capture client does not say which
// processes these are, so they are looked up among the children. A process that was not found counts
// as alive. A monitor that lives replaces a handler that has ended, so such a handler is looked up again.
// One thread at a time may use an object.
class HandlerWatch {
 public:
  // Forgets what was found and notes the time. Call it before the program is started.
  void expect(const std::filesystem::path& program);

  // Looks for the processes that are not found yet, in a list of all processes of the system. Costs
  // nothing while the handler that was found lives.
  void find();

  bool has_ended() const;

  // The handler, or else the program that was started; empty when neither was found. The handle is
  // signalled when the process ends.
  std::vector<HANDLE> processes() const;

 private:
  // Of the two processes the one that is known to write the dumps.
  const ScopedKernelHandle& writer() const;

  std::wstring program_name_;
  uint64_t started_after_ = 0;
  ScopedKernelHandle program_;
  ScopedKernelHandle handler_;
};

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_HANDLER_WATCH_WIN_H_
