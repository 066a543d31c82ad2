#include <windows.h>

#include <cstdint>

#include "monitor/watched_process.h"
#include "support/win_handle.h"

namespace wrenfall {
namespace {

constexpr UINT kTerminatedExitCode = 1;

ScopedKernelHandle open_process(uint64_t id, DWORD access) {
  // The system rounds ids down to a multiple of four when it looks a process up, and knows none
  // above 32 bits.
  if (id == 0 || id > MAXDWORD) return ScopedKernelHandle();
  return ScopedKernelHandle(OpenProcess(access, FALSE, static_cast<DWORD>(id)));
}

// 0 when it cannot be read.
uint64_t start_time_of(HANDLE process) {
  FILETIME creation{};
  FILETIME exit{};
  FILETIME kernel{};
  FILETIME user{};
  if (!GetProcessTimes(process, &creation, &exit, &kernel, &user)) return 0;
  return static_cast<uint64_t>(creation.dwHighDateTime) << 32 | creation.dwLowDateTime;
}

}  // namespace

bool is_session_running(const SessionTag& session) {
  if (!is_process_running(session.process_id)) return false;
  const ScopedKernelHandle process =
      open_process(session.process_id, PROCESS_QUERY_LIMITED_INFORMATION);
  if (!process) return true;
  const uint64_t start_time = start_time_of(process.get());
  return start_time == 0 || session.start_time == 0 || start_time == session.start_time;
}

bool terminate_session(const SessionTag& session) {
  const ScopedKernelHandle process =
      open_process(session.process_id, PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE);
  if (!process || session.start_time == 0) return false;
  if (start_time_of(process.get()) != session.start_time) return false;
  return TerminateProcess(process.get(), kTerminatedExitCode) != FALSE;
}

}  // namespace wrenfall
