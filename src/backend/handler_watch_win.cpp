#include "backend/handler_watch_win.h"

// Needs <windows.h> first.
#include <tlhelp32.h>

#include "support/file_times_win.h"
#include "support/paths.h"

namespace wrenfall {
namespace {

// A process may get a start time slightly before the call that created it.
constexpr uint64_t kClockSlackTicks = kTicksPerSecond;

// The running processes of the system.
std::vector<PROCESSENTRY32W> list_processes() {
  std::vector<PROCESSENTRY32W> processes;
  const ScopedFile snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  if (!snapshot) return processes;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32FirstW(snapshot.get(), &entry); more;
       more = Process32NextW(snapshot.get(), &entry)) {
    processes.push_back(entry);
  }
  return processes;
}

// The newest child of the process that runs the program. A child of an earlier process with the same
// id was started before `started_after`.
ScopedKernelHandle find_child(const std::vector<PROCESSENTRY32W>& processes, DWORD parent,
                              const std::wstring& program, uint64_t started_after) {
  ScopedKernelHandle newest;
  for (const PROCESSENTRY32W& entry : processes) {
    if (entry.th32ParentProcessID != parent) continue;
    if (CompareStringOrdinal(entry.szExeFile, -1, program.c_str(), -1, TRUE) != CSTR_EQUAL) {
      continue;
    }
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
  if (handler_) return;
  const std::vector<PROCESSENTRY32W> processes = list_processes();
  if (!program_) {
    program_ = find_child(processes, GetCurrentProcessId(), program_name_, started_after_);
  }
  if (!program_) return;
  handler_ = find_child(processes, GetProcessId(program_.get()),
                        std::filesystem::path(kHandlerExecutable).wstring(),
                        process_start_time(program_.get()));
  if (handler_) program_.reset();
}

const ScopedKernelHandle& HandlerWatch::writer() const { return handler_ ? handler_ : program_; }

bool HandlerWatch::has_ended() const {
  return writer() && WaitForSingleObject(writer().get(), 0) == WAIT_OBJECT_0;
}

std::vector<HANDLE> HandlerWatch::processes() const {
  return writer() ? std::vector<HANDLE>{writer().get()} : std::vector<HANDLE>{};
}

}  // namespace wrenfall
