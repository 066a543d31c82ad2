#include <windows.h>

// Needs <windows.h> first.
#include <tlhelp32.h>

#include <cstdint>

#include "monitor/watched_process.h"
#include "support/file_times_win.h"
#include "support/win_handle.h"

namespace wrenfall::monitor {
namespace {

constexpr UINT kTerminatedExitCode = 1;

ScopedKernelHandle open_process(uint64_t id, DWORD access) {
  // The system rounds ids down to a multiple of four when it looks a process up, and knows none
  // above 32 bits.
  if (id == 0 || id > MAXDWORD) return ScopedKernelHandle();
  return ScopedKernelHandle(OpenProcess(access, FALSE, static_cast<DWORD>(id)));
}

using ProcessFunction = LONG(NTAPI*)(HANDLE);
using QueryThreadFunction = LONG(NTAPI*)(HANDLE, int, void*, ULONG, ULONG*);

template <typename Function>
Function find_ntdll_function(const char* name) {
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  return ntdll == nullptr
             ? nullptr
             : reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(ntdll, name)));
}

// False as well when the system does not tell.
bool is_suspended(DWORD thread_id) {
  constexpr int kThreadSuspendCount = 35;
  const auto query = find_ntdll_function<QueryThreadFunction>("NtQueryInformationThread");
  const ScopedKernelHandle thread(OpenThread(THREAD_QUERY_INFORMATION, FALSE, thread_id));
  ULONG count = 0;
  return query != nullptr && thread &&
         query(thread.get(), kThreadSuspendCount, &count, sizeof count, nullptr) >= 0 && count > 0;
}

// Whether every thread is suspended. A process that suspends its own threads keeps at least one
// running.
bool is_frozen(DWORD process_id) {
  const ScopedFile snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  if (!snapshot) return false;
  bool any = false;
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Thread32First(snapshot.get(), &entry); more;
       more = Thread32Next(snapshot.get(), &entry)) {
    if (entry.th32OwnerProcessID != process_id) continue;
    if (!is_suspended(entry.th32ThreadID)) return false;
    any = true;
  }
  return any;
}

}  // namespace

struct ProcessExit::Process {
  ScopedKernelHandle handle;
};

ProcessExit::ProcessExit(const ProcessIdentity& identity)
    : process_(std::make_unique<Process>(Process{
          open_process(identity.process_id, PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE)})) {
  // A different start time means another process with the same id.
  if (process_->handle && process_start_time(process_->handle.get()) != identity.start_time) {
    process_->handle.reset();
  }
}

ProcessExit::~ProcessExit() = default;

std::optional<uint32_t> ProcessExit::exit_code() const {
  DWORD code = 0;
  if (!process_->handle || WaitForSingleObject(process_->handle.get(), 0) != WAIT_OBJECT_0 ||
      !GetExitCodeProcess(process_->handle.get(), &code)) {
    return std::nullopt;
  }
  return code;
}

bool is_still_running(const ProcessIdentity& identity) {
  if (!is_process_running(identity.process_id)) return false;
  const ScopedKernelHandle process =
      open_process(identity.process_id, PROCESS_QUERY_LIMITED_INFORMATION);
  if (!process) return true;
  const uint64_t start_time = process_start_time(process.get());
  return start_time == 0 || identity.start_time == 0 || start_time == identity.start_time;
}

bool terminate_process(const ProcessIdentity& identity) {
  const ScopedKernelHandle process =
      open_process(identity.process_id, PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE);
  if (!process || identity.start_time == 0) return false;
  if (process_start_time(process.get()) != identity.start_time) return false;
  return TerminateProcess(process.get(), kTerminatedExitCode) != FALSE;
}

bool resume_frozen_process(const ProcessIdentity& identity) {
  const ScopedKernelHandle process =
      open_process(identity.process_id, PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_SUSPEND_RESUME);
  if (!process || identity.start_time == 0) return false;
  if (process_start_time(process.get()) != identity.start_time) return false;
  if (!is_frozen(static_cast<DWORD>(identity.process_id))) return false;
  const auto resume = find_ntdll_function<ProcessFunction>("NtResumeProcess");
  return resume != nullptr && resume(process.get()) >= 0;
}

}  // namespace wrenfall::monitor
