#include "monitor/frozen_hosts_win.h"

#include <algorithm>
#include <vector>

#include "monitor/watched_process.h"
#include "support/files.h"
#include "support/paths.h"
#include "support/process_list_win.h"
#include "support/text.h"

namespace wrenfall::monitor {
namespace {

// A suspended process answers nobody, so a second does not matter.
constexpr std::chrono::seconds kPause(1);
constexpr std::chrono::seconds kPauseForOthers(10);

bool is_left_suspended(const ProcessIdentity& process) {
  return is_frozen_process(process) && !is_under_debugger(process).value_or(true);
}

// Whether the process has started a monitor that still runs, by the name of the program.
bool has_monitor(const ProcessIdentity& process) {
  const std::wstring program = std::filesystem::path(kMonitorExecutable).wstring();
  const std::vector<PROCESSENTRY32W> processes = list_processes();
  return std::any_of(processes.begin(), processes.end(), [&](const PROCESSENTRY32W& entry) {
    return is_child(entry, static_cast<DWORD>(process.process_id), program);
  });
}

}  // namespace

bool FrozenHosts::look(HANDLE handler, bool writes_dump) {
  const Clock::time_point now = Clock::now();
  if (!last_look_ || now - *last_look_ >= kPause) {
    last_look_ = now;
    look_at_own(handler, writes_dump);
  }
  if (!last_look_at_others_ || now - *last_look_at_others_ >= kPauseForOthers) {
    last_look_at_others_ = now;
    look_at_others();
  }
  return own_tracker_.is_counting();
}

// A handler waits without using the processor until it is asked for a dump. Where the system does not
// count its work, it counts as having worked.
bool FrozenHosts::has_worked(HANDLE handler) {
  ULONG64 cycles = 0;
  if (!QueryProcessCycleTime(handler, &cycles)) return true;
  if (cycles == cycles_) return false;
  if (!own_tracker_.is_counting()) cycles_ = cycles;
  return true;
}

void FrozenHosts::look_at_own(HANDLE handler, bool writes_dump) {
  const bool is_suspect =
      handler != nullptr && (writes_dump || own_tracker_.is_counting() || has_worked(handler));
  if (!own_tracker_.look(is_suspect && is_left_suspended(own_), Clock::now())) return;
  if (!resume_frozen_process(own_)) return;
  logger_.warn("Process %llu resumed: its capture handler has kept it suspended for %lld s",
               static_cast<unsigned long long>(own_.process_id),
               static_cast<long long>(FreezeTracker::kPatience.count()));
}

void FrozenHosts::look_at_others() {
  std::map<std::string, FreezeTracker> seen;
  for (const std::filesystem::path& file : list_folder(sessions_)) {
    const auto process = ProcessIdentity::parse(path_to_utf8(file.stem()));
    if (!process || *process == own_) continue;
    FreezeTracker& tracker = seen[process->text()];
    const auto known = trackers_.find(process->text());
    if (known != trackers_.end()) tracker = known->second;
    const bool is_abandoned = is_left_suspended(*process) && !has_monitor(*process);
    if (!tracker.look(is_abandoned, Clock::now()) || !resume_frozen_process(*process)) continue;
    logger_.warn("Process %llu resumed: it was left suspended by a monitor that has ended",
                 static_cast<unsigned long long>(process->process_id));
  }
  trackers_.swap(seen);
}

}  // namespace wrenfall::monitor
