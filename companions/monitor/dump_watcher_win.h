#ifndef WRENFALL_COMPANIONS_MONITOR_DUMP_WATCHER_WIN_H_
#define WRENFALL_COMPANIONS_MONITOR_DUMP_WATCHER_WIN_H_

#include <windows.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <vector>

#include "support/win_handle.h"

namespace wrenfall::monitor {

struct ChangeHandleTraits {
  using Handle = HANDLE;
  static Handle empty() { return INVALID_HANDLE_VALUE; }
  static void close(Handle handle) { FindCloseChangeNotification(handle); }
};

// Tells when something changes in a folder. The folder need not exist yet.
class FolderWatch {
 public:
  explicit FolderWatch(std::filesystem::path folder) : folder_(std::move(folder)) {}

  // Starts watching, or continues after a change. Call it before each look at the folder, so that no
  // change between the look and the next wait is lost. False while there is no such folder.
  bool arm();

  // Signalled after a change; INVALID_HANDLE_VALUE while there is no such folder.
  HANDLE handle() const { return watch_.get(); }

 private:
  const std::filesystem::path folder_;
  ScopedHandle<ChangeHandleTraits> watch_;
};

// Waits for the next reason to look for dumps: a change in the folder of dumps or in that of session
// files, or a time that has passed.
class DumpWatcher {
 public:
  // What the last look leads to expect.
  enum class Outlook {
    kFinishedSoon,  // a dump is being finished
    kUnsettled,     // there is a dump, or a failure, to look at again
    kQuiet,         // nothing, unless the system tells of a change
  };

  DumpWatcher(const std::filesystem::path& reports, const std::filesystem::path& sessions)
      : reports_(reports), sessions_(sessions) {}

  // Call it before each look.
  void arm();

  // Blocks: for a moment, for a second, or as long as nothing changes, up to half a minute; and until one
  // of `ends` is signalled, whose place is then the result. Those are one or two; the first one that is
  // signalled counts.
  std::optional<size_t> wait(Outlook outlook, const std::vector<HANDLE>& ends);

 private:
  FolderWatch reports_;
  FolderWatch sessions_;
  bool all_armed_ = false;
  bool has_changed_ = false;  // the last wait ended with a change
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_DUMP_WATCHER_WIN_H_
