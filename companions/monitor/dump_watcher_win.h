#ifndef WRENFALL_COMPANIONS_MONITOR_DUMP_WATCHER_WIN_H_
#define WRENFALL_COMPANIONS_MONITOR_DUMP_WATCHER_WIN_H_

#include <windows.h>

#include <filesystem>

#include "support/win_handle.h"

namespace wrenfall::monitor {

struct ChangeHandleTraits {
  using Handle = HANDLE;
  static Handle empty() { return INVALID_HANDLE_VALUE; }
  static void close(Handle handle) { FindCloseChangeNotification(handle); }
};

// Tells when something changes in a folder, which need not exist yet.
class FolderWatch {
 public:
  explicit FolderWatch(std::filesystem::path folder) : folder_(std::move(folder)) {}

  // Begins to watch, or goes on after a change. To be called before each look at the folder, so
  // that no change between the look and the next wait is lost. False while there is no such folder.
  bool arm();

  // Signalled after a change; INVALID_HANDLE_VALUE while there is no such folder.
  HANDLE handle() const { return watch_.get(); }

 private:
  const std::filesystem::path folder_;
  ScopedHandle<ChangeHandleTraits> watch_;
};

// Waits for the next reason to look for dumps: a change in the folder of dumps or of session files,
// or some time gone by.
class DumpWatcher {
 public:
  // The handler's process handle stays the caller's.
  DumpWatcher(HANDLE handler, const std::filesystem::path& reports,
              const std::filesystem::path& sessions)
      : handler_(handler), reports_(reports), sessions_(sessions) {}

  // To be called before each look.
  void arm();

  // Blocks; for a moment only when `dump_expected` says that a dump is about to be finished. False when the
  // handler has ended.
  bool wait(bool dump_expected) const;

 private:
  const HANDLE handler_;
  FolderWatch reports_;
  FolderWatch sessions_;
  bool all_armed_ = false;
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_DUMP_WATCHER_WIN_H_
