#include "backend/handler_watch_win.h"

#include <utility>

#include "support/file_times_win.h"
#include "support/paths.h"
#include "support/process_list_win.h"

namespace wrenfall {
namespace {

// A process may get a start time slightly before the call that created it.
constexpr uint64_t kClockSlackTicks = kTicksPerSecond;

// The newest child of the process that runs the program. A child of an earlier process with the same
// id was started before `started_after`.
ScopedKernelHandle find_child(const std::vector<PROCESSENTRY32W>& processes, DWORD parent,
                              const std::wstring& program, uint64_t started_after) {
  ScopedKernelHandle newest;
  for (const PROCESSENTRY32W& entry : processes) {
    if (!is_child(entry, parent, program)) continue;
    ScopedKernelHandle process(
        OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, entry.th32ProcessID));
    if (!process) continue;
    const uint64_t start_time = process_start_time(process.get());
    if (start_time < started_after) continue;
    started_after = start_time;
    newest = std::move(process);
  }
  return newest;
}

}  // namespace

void HandlerWatch::expect(const std::filesystem::path& program) {
  program_.reset();
  handler_.reset();
  program_name_ = program.filename().wstring();
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  started_after_ = ticks_of(now) - kClockSlackTicks;
}

void HandlerWatch::find() {
  if (handler_ && !has_ended()) return;
  const std::vector<PROCESSENTRY32W> processes = list_processes();
  if (!program_) {
    program_ = find_child(processes, GetCurrentProcessId(), program_name_, started_after_);
  }
  if (!program_) return;
  ScopedKernelHandle found = find_child(processes, GetProcessId(program_.get()),
                                        std::filesystem::path(kHandlerExecutable).wstring(),
                                        process_start_time(program_.get()));
  if (found) handler_ = std::move(found);
}

const ScopedKernelHandle& HandlerWatch::writer() const { return handler_ ? handler_ : program_; }

bool HandlerWatch::has_ended() const {
  return writer() && WaitForSingleObject(writer().get(), 0) == WAIT_OBJECT_0;
}

std::vector<HANDLE> HandlerWatch::processes() const {
  return writer() ? std::vector<HANDLE>{writer().get()} : std::vector<HANDLE>{};
}

}  // namespace wrenfall
