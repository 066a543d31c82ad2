#include "monitor/dump_watcher_win.h"

#include <algorithm>

#include "support/system_path_win.h"

namespace wrenfall::monitor {
namespace {

constexpr DWORD kUnfinishedDumpMs = 20;
constexpr DWORD kMissingFolderMs = 250;
constexpr DWORD kUnsettledMs = 1000;
constexpr DWORD kQuietMs = 30000;  // in case the system did not tell of a change

constexpr DWORD kChanges =
    FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;

}  // namespace

bool FolderWatch::arm() {
  const bool changed = watch_ && WaitForSingleObject(watch_.get(), 0) == WAIT_OBJECT_0;
  if (changed && !FindNextChangeNotification(watch_.get())) watch_.reset();
  if (!watch_) {
    watch_.reset(FindFirstChangeNotificationW(system_path(folder_).c_str(), FALSE, kChanges));
  }
  return static_cast<bool>(watch_);
}

void DumpWatcher::arm() {
  const bool reports = reports_.arm();
  const bool sessions = sessions_.arm();
  all_armed_ = reports && sessions;
}

std::optional<size_t> DumpWatcher::wait(Outlook outlook, const std::vector<HANDLE>& ends) {
  std::vector<HANDLE> handles = ends;
  for (const FolderWatch* watch : {&reports_, &sessions_}) {
    if (watch->handle() != INVALID_HANDLE_VALUE) handles.push_back(watch->handle());
  }
  DWORD milliseconds = kQuietMs;
  if (outlook == Outlook::kFinishedSoon) {
    milliseconds = kUnfinishedDumpMs;
  } else if (!all_armed_) {
    milliseconds = kMissingFolderMs;
  } else if (outlook == Outlook::kUnsettled || has_changed_) {
    // After a change too: what the handler says of a dump comes after what it does to the file.
    milliseconds = kUnsettledMs;
  }
  const auto wait_for = [](const std::vector<HANDLE>& all, DWORD limit) {
    return WaitForMultipleObjects(static_cast<DWORD>(all.size()), all.data(), FALSE, limit);
  };
  DWORD result = wait_for(handles, milliseconds);
  // A failed wait returns at once. Waiting without the folders always works.
  const bool failed = result == WAIT_FAILED;
  if (failed) result = wait_for(ends, std::min(milliseconds, kUnsettledMs));
  has_changed_ = !failed && result != WAIT_TIMEOUT;
  const size_t place = result - WAIT_OBJECT_0;
  return place < ends.size() ? std::optional<size_t>(place) : std::nullopt;
}

}  // namespace wrenfall::monitor
