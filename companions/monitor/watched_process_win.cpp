#include <windows.h>

// Needs <windows.h> first.
#include <tlhelp32.h>

#include <cstdint>
#include <set>

#include "monitor/watched_process.h"
#include "monitor/watched_process_win.h"
#include "support/file_times_win.h"
#include "support/open_process_win.h"
#include "support/system_function_win.h"
#include "support/system_library_win.h"
#include "support/win_handle.h"

namespace wrenfall::monitor {
namespace {

constexpr UINT kTerminatedExitCode = 1;

using ProcessFunction = LONG(NTAPI*)(HANDLE);
using QueryThreadFunction = LONG(NTAPI*)(HANDLE, int, void*, ULONG, ULONG*);

// How often the thread is suspended; 0 as well when the system does not tell.
ULONG suspend_count(DWORD thread_id) {
  constexpr int kThreadSuspendCount = 35;
  const auto query =
      find_system_function<QueryThreadFunction>(L"ntdll.dll", "NtQueryInformationThread");
  const ScopedKernelHandle thread(OpenThread(THREAD_QUERY_INFORMATION, FALSE, thread_id));
  ULONG count = 0;
  const bool is_known =
      query != nullptr && thread &&
      query(thread.get(), kThreadSuspendCount, &count, sizeof count, nullptr) >= 0;
  return is_known ? count : 0;
}

// All threads of the system.
template <typename Visit>
void for_each_thread(Visit visit) {
  const ScopedFile snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  if (!snapshot) return;
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Thread32First(snapshot.get(), &entry); more;
       more = Thread32Next(snapshot.get(), &entry)) {
    visit(uint64_t{entry.th32OwnerProcessID}, entry.th32ThreadID);
  }
}

// Those of the processes whose every thread is suspended. A process that suspends its own threads keeps
// at least one running.
std::set<uint64_t> find_frozen(const std::set<uint64_t>& process_ids) {
  std::set<uint64_t> frozen;
  std::set<uint64_t> running;
  for_each_thread([&](uint64_t process_id, DWORD thread_id) {
    if (process_ids.count(process_id) == 0 || running.count(process_id) > 0) return;
    (suspend_count(thread_id) > 0 ? frozen : running).insert(process_id);
  });
  for (const uint64_t process_id : running) frozen.erase(process_id);
  return frozen;
}

// While a handler has the process suspended, it suspends each thread once more for a moment, to read its
// registers, and may be killed right then. That leaves one thread suspended in a process that was
// resumed. Several are the process's own affair. One may be, too, but it is hardly ever one alone.
void resume_last_thread(uint64_t process_id) {
  std::vector<DWORD> suspended;
  for_each_thread([&](uint64_t owner, DWORD thread_id) {
    if (owner == process_id && suspend_count(thread_id) > 0) suspended.push_back(thread_id);
  });
  if (suspended.size() != 1) return;
  const ScopedKernelHandle thread(OpenThread(THREAD_SUSPEND_RESUME, FALSE, suspended[0]));
  if (thread) ResumeThread(thread.get());
}

}  // namespace

ScopedKernelHandle open_watched_process(const ProcessIdentity& identity, DWORD access) {
  ScopedKernelHandle process =
      open_process(identity.process_id, access | PROCESS_QUERY_LIMITED_INFORMATION);
  if (process && process_start_time(process.get()) != identity.start_time) process.reset();
  return process;
}

struct ProcessExit::Process {
  ScopedKernelHandle handle;
};

ProcessExit::ProcessExit(const ProcessIdentity& identity)
    : process_(std::make_unique<Process>(Process{open_watched_process(identity, SYNCHRONIZE)})) {}

ProcessExit::~ProcessExit() = default;

std::optional<uint32_t> ProcessExit::exit_code() const {
  DWORD code = 0;
  if (!process_->handle || WaitForSingleObject(process_->handle.get(), 0) != WAIT_OBJECT_0 ||
      !GetExitCodeProcess(process_->handle.get(), &code)) {
    return std::nullopt;
  }
  return code;
}

int64_t ProcessExit::end_ms() const {
  constexpr int64_t kMsFrom1601To1970 = 11644473600000;
  FILETIME end{};
  FILETIME other{};
  if (!exit_code() || !GetProcessTimes(process_->handle.get(), &other, &end, &other, &other)) {
    return 0;
  }
  return static_cast<int64_t>(ticks_of(end) / (kTicksPerSecond / 1000)) - kMsFrom1601To1970;
}

void ProcessExit::wait(std::chrono::milliseconds patience) const {
  if (process_->handle) {
    WaitForSingleObject(process_->handle.get(), static_cast<DWORD>(patience.count()));
  }
}

bool is_system_ending() {
  SystemLibrary user32(L"user32.dll");
  const decltype(&GetSystemMetrics) metric = user32.find("GetSystemMetrics");
  return metric != nullptr && metric(SM_SHUTTINGDOWN) != 0;
}

bool is_still_running(const ProcessIdentity& identity) {
  if (!is_process_running(identity.process_id)) return false;
  const ScopedKernelHandle process =
      open_process(identity.process_id, PROCESS_QUERY_LIMITED_INFORMATION);
  if (!process) return true;
  const uint64_t start_time = process_start_time(process.get());
  return start_time == 0 || identity.start_time == 0 || start_time == identity.start_time;
}

std::optional<bool> is_under_debugger(const ProcessIdentity& identity) {
  const ScopedKernelHandle process = open_watched_process(identity, PROCESS_QUERY_INFORMATION);
  BOOL present = FALSE;
  if (!process || !CheckRemoteDebuggerPresent(process.get(), &present)) return std::nullopt;
  return present != FALSE;
}

bool terminate_process(const ProcessIdentity& identity) {
  if (identity.start_time == 0) return false;
  const ScopedKernelHandle process = open_watched_process(identity, PROCESS_TERMINATE);
  return process && TerminateProcess(process.get(), kTerminatedExitCode) != FALSE;
}

std::vector<ProcessIdentity> frozen_processes(const std::vector<ProcessIdentity>& processes) {
  std::set<uint64_t> ids;
  for (const ProcessIdentity& process : processes) ids.insert(process.process_id);
  const std::set<uint64_t> frozen = find_frozen(ids);
  std::vector<ProcessIdentity> result;
  for (const ProcessIdentity& process : processes) {
    if (frozen.count(process.process_id) > 0 && process.start_time != 0 &&
        open_watched_process(process, 0)) {
      result.push_back(process);
    }
  }
  return result;
}

bool resume_frozen_process(const ProcessIdentity& identity, bool handler_has_ended) {
  if (identity.start_time == 0) return false;
  const ScopedKernelHandle process = open_watched_process(identity, PROCESS_SUSPEND_RESUME);
  if (!process || find_frozen({identity.process_id}).empty()) return false;
  const auto resume = find_system_function<ProcessFunction>(L"ntdll.dll", "NtResumeProcess");
  if (resume == nullptr || resume(process.get()) < 0) return false;
  if (handler_has_ended) resume_last_thread(identity.process_id);
  return true;
}

}  // namespace wrenfall::monitor
