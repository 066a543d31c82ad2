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
// Others are hardly ever found suspended. Whether one stays so is looked at more often.
constexpr std::chrono::seconds kPauseForOthers(60);
constexpr std::chrono::seconds kPauseWhileCounting(10);

// Those of the processes that are suspended, and not by a debugger.
std::vector<ProcessIdentity> left_suspended(const std::vector<ProcessIdentity>& processes) {
  std::vector<ProcessIdentity> frozen = frozen_processes(processes);
  const auto is_debugged = [](const ProcessIdentity& process) {
    return is_under_debugger(process).value_or(true);
  };
  frozen.erase(std::remove_if(frozen.begin(), frozen.end(), is_debugged), frozen.end());
  return frozen;
}

bool has_child(const std::vector<PROCESSENTRY32W>& processes, DWORD parent, const char* program) {
  const std::wstring name = std::filesystem::path(program).wstring();
  return std::any_of(processes.begin(), processes.end(),
                     [&](const PROCESSENTRY32W& entry) { return is_child(entry, parent, name); });
}

// Whether the process has started a monitor that still runs. A host may name its monitor as it likes, but
// the handler that a monitor starts always has the same name.
bool has_monitor(const std::vector<PROCESSENTRY32W>& processes, const ProcessIdentity& process) {
  const auto host = static_cast<DWORD>(process.process_id);
  return has_child(processes, host, kMonitorExecutable) ||
         std::any_of(processes.begin(), processes.end(), [&](const PROCESSENTRY32W& entry) {
           return entry.th32ParentProcessID == host &&
                  has_child(processes, entry.th32ProcessID, kHandlerExecutable);
         });
}

}  // namespace

bool FrozenHosts::look(HANDLE handler, bool writes_dump) {
  const Clock::time_point now = Clock::now();
  if (!last_look_ || now - *last_look_ >= kPause) {
    last_look_ = now;
    look_at_own(handler, writes_dump);
  }
  const std::chrono::seconds pause = counts_others() ? kPauseWhileCounting : kPauseForOthers;
  if (!last_look_at_others_ || now - *last_look_at_others_ >= pause) {
    last_look_at_others_ = now;
    look_at_others(writes_dump);
  }
  return own_tracker_.is_counting() || counts_others();
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
  if (!own_tracker_.look(is_suspect && !left_suspended({own_}).empty(), Clock::now())) return;
  if (!resume_frozen_process(own_, false)) return;
  logger_.warn("Process %llu resumed: its capture handler has kept it suspended for %lld s",
               static_cast<unsigned long long>(own_.process_id),
               static_cast<long long>(FreezeTracker::kPatience.count()));
}

bool FrozenHosts::counts_others() const {
  return std::any_of(trackers_.begin(), trackers_.end(),
                     [](const auto& entry) { return entry.second.is_counting(); });
}

std::vector<ProcessIdentity> FrozenHosts::find_abandoned() const {
  std::vector<ProcessIdentity> others;
  for (const std::filesystem::path& file : list_folder(sessions_)) {
    const auto process = ProcessIdentity::parse(path_to_utf8(file.stem()));
    if (process && !(*process == own_)) others.push_back(*process);
  }
  if (others.empty()) return others;
  std::vector<ProcessIdentity> abandoned = left_suspended(others);
  if (abandoned.empty()) return abandoned;
  const std::vector<PROCESSENTRY32W> processes = list_processes();
  const auto is_watched = [&](const ProcessIdentity& process) {
    return has_monitor(processes, process);
  };
  abandoned.erase(std::remove_if(abandoned.begin(), abandoned.end(), is_watched), abandoned.end());
  return abandoned;
}

void FrozenHosts::look_at_others(bool writes_dump) {
  std::map<std::string, FreezeTracker> seen;
  // A handler whose monitor has ended still writes its dump.
  if (!writes_dump) {
    for (const ProcessIdentity& process : find_abandoned()) {
      FreezeTracker& tracker = seen[process.text()];
      const auto known = trackers_.find(process.text());
      if (known != trackers_.end()) tracker = known->second;
      if (!tracker.look(true, Clock::now()) || !resume_frozen_process(process, true)) continue;
      logger_.warn("Process %llu resumed: it was left suspended by a monitor that has ended",
                   static_cast<unsigned long long>(process.process_id));
    }
  }
  trackers_.swap(seen);
}

}  // namespace wrenfall::monitor
