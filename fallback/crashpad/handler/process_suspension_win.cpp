#include "handler/process_suspension_win.h"

// Needs <windows.h> first.
#include <tlhelp32.h>

#include <atomic>
#include <vector>

#include "common/scoped_win.h"

namespace crashpad::internal {
namespace {

using ProcessFunction = LONG(NTAPI*)(HANDLE);
using QueryThreadFunction = LONG(NTAPI*)(HANDLE, int, void*, ULONG, ULONG*);

constexpr int kThreadBasicInformation = 0;
constexpr int kSuspendAttempts = 100;
constexpr DWORD kAttemptPauseMs = 10;

// The result of NtQueryInformationThread for kThreadBasicInformation.
struct ThreadBasicInformation {
  LONG exit_status;
  void* thread_block;
  HANDLE process_id;
  HANDLE thread_id;
  ULONG_PTR affinity;
  LONG priority;
  LONG base_priority;
};

std::atomic<HANDLE> g_suspended{nullptr};

void resume_suspended_process() {
  const HANDLE process = g_suspended.exchange(nullptr);
  if (process == nullptr) return;
  const auto resume = find_system_function<ProcessFunction>(L"ntdll.dll", "NtResumeProcess");
  if (resume != nullptr) resume(process);
}

LONG WINAPI resume_and_end(EXCEPTION_POINTERS* exception) {
  resume_suspended_process();
  TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
  return EXCEPTION_CONTINUE_SEARCH;
}

std::vector<ScopedHandle> open_threads(DWORD process_id) {
  std::vector<ScopedHandle> threads;
  const ScopedHandle snapshot = adopt_file(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  if (!snapshot) return threads;
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Thread32First(snapshot.get(), &entry); more;
       more = Thread32Next(snapshot.get(), &entry)) {
    if (entry.th32OwnerProcessID != process_id) continue;
    ScopedHandle thread(
        OpenThread(THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION, FALSE, entry.th32ThreadID));
    if (thread) threads.push_back(std::move(thread));
  }
  return threads;
}

// Under Wine a new thread has no thread block until its creator has finished making it.
bool is_half_made(HANDLE thread) {
  const auto query =
      find_system_function<QueryThreadFunction>(L"ntdll.dll", "NtQueryInformationThread");
  ThreadBasicInformation info = {};
  return query != nullptr &&
         query(thread, kThreadBasicInformation, &info, sizeof(info), nullptr) >= 0 &&
         info.thread_block == nullptr;
}

// Suspending only asks the threads to stop; asking for a thread's context waits until it has stopped.
// Under Wine that wait, and so MiniDumpWriteDump too, never ends for a thread whose creator was stopped
// halfway. When there is such a thread, the process must be resumed and suspended once more.
bool all_threads_stopped(DWORD process_id, DWORD waiting_thread) {
  for (const ScopedHandle& thread : open_threads(process_id)) {
    if (is_half_made(thread.get())) return false;
    if (GetThreadId(thread.get()) == waiting_thread) continue;
    CONTEXT context = {};
    context.ContextFlags = CONTEXT_CONTROL;
    GetThreadContext(thread.get(), &context);
  }
  // No thread can be made any more, but one may have been made before its creator stopped.
  for (const ScopedHandle& thread : open_threads(process_id)) {
    if (is_half_made(thread.get())) return false;
  }
  return true;
}

}  // namespace

ProcessSuspension::ProcessSuspension(HANDLE process, DWORD waiting_thread,
                                     std::atomic<uint32_t>* suspended)
    : suspended_(suspended) {
  const DWORD process_id = GetProcessId(process);
  for (int attempt = 0; attempt < kSuspendAttempts; ++attempt) {
    if (!suspend(process, waiting_thread)) return;
    if (all_threads_stopped(process_id, waiting_thread)) return;
    resume();
    Sleep(kAttemptPauseMs);
  }
}

ProcessSuspension::~ProcessSuspension() { resume(); }

bool ProcessSuspension::suspend(HANDLE process, DWORD waiting_thread) {
  const auto suspend_process =
      find_system_function<ProcessFunction>(L"ntdll.dll", "NtSuspendProcess");
  if (suspend_process == nullptr) return false;
  suspended_->store(1);
  if (suspend_process(process) < 0) {
    suspended_->store(0);
    return false;
  }
  g_suspended.store(process);
  if (waiting_thread == 0) return true;
  const ScopedHandle thread(OpenThread(THREAD_SUSPEND_RESUME, FALSE, waiting_thread));
  if (thread) ResumeThread(thread.get());
  return true;
}

void ProcessSuspension::resume() {
  resume_suspended_process();
  suspended_->store(0);
}

void ProcessSuspension::resume_on_own_crash() { SetUnhandledExceptionFilter(&resume_and_end); }

}  // namespace crashpad::internal
