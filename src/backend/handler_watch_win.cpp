#include "backend/handler_watch_win.h"

// Needs <windows.h> first.
#include <tlhelp32.h>

#include "support/file_times_win.h"
#include "support/paths.h"

namespace wrenfall {
namespace {

// A process may get a start time slightly before the call that created it.
constexpr uint64_t kClockSlackTicks = kTicksPerSecond;

// The newest child of the process that runs the program. A child of an earlier process with the same
// id was started before `started_after`.
ScopedKernelHandle find_child(DWORD parent, const std::wstring& program, uint64_t started_after) {
  ScopedKernelHandle newest;
  const ScopedFile snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  if (!snapshot) return newest;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32FirstW(snapshot.get(), &entry); more;
       more = Process32NextW(snapshot.get(), &entry)) {
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
  if (!program_) program_ = find_child(GetCurrentProcessId(), program_name_, started_after_);
  if (!program_ || handler_) return;
  handler_ =
      find_child(GetProcessId(program_.get()), std::filesystem::path(kHandlerExecutable).wstring(),
                 process_start_time(program_.get()));
}

const ScopedKernelHandle& HandlerWatch::writer() const { return handler_ ? handler_ : program_; }

bool HandlerWatch::has_ended() const {
  return writer() && WaitForSingleObject(writer().get(), 0) == WAIT_OBJECT_0;
}

std::vector<HANDLE> HandlerWatch::processes() const {
  return writer() ? std::vector<HANDLE>{writer().get()} : std::vector<HANDLE>{};
}

}  // namespace wrenfall
