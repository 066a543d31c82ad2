#include "client/crash_filter_win.h"

#include <signal.h>

#include <atomic>
#include <cstdint>
#include <utility>

#include "common/client_protocol.h"

namespace crashpad::internal {
namespace {

constexpr DWORD kStatusHeapCorruption = 0xC0000374;
constexpr DWORD kStatusFatalAppExit = 0x40000015;

// How long a second crashing thread leaves the first one to end the process once the handler is
// gone.
constexpr DWORD kLateThreadGraceMs = 2000;

// All of this is constant-initialised and never destroyed: a crash may come before or after main().
// The connection that a crash takes, and the same for others, who keep it alive.
std::atomic<CrashConnection*> g_connection{nullptr};

// Threads that have entered the crash path, which none leaves. While there is one, no connection is
// freed.
std::atomic<uint32_t> g_crashing_threads{0};

// The thread whose crash is reported; 0 while there is none.
std::atomic<DWORD> g_reporting_thread{0};

WerRegistration g_wer_registration = {};

// Held for moments, while the shared connection is read or replaced; never in a crash.
SRWLOCK g_shared_connection_lock = SRWLOCK_INIT;

class ScopedLock {
 public:
  explicit ScopedLock(SRWLOCK* lock) : lock_(lock) { AcquireSRWLockExclusive(lock_); }
  ~ScopedLock() { ReleaseSRWLockExclusive(lock_); }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;

 private:
  SRWLOCK* const lock_;
};

// Under its lock.
std::shared_ptr<CrashConnection>& shared_connection() {
  static auto& connection = *new std::shared_ptr<CrashConnection>;
  return connection;
}

// Gives up a share in a connection that was or may have been replaced. A crashing thread announces
// itself before it loads the connection. So without one, whoever crashes from now on finds the new
// connection; with one, the process is ending and nothing is worth freeing.
void let_go(std::shared_ptr<CrashConnection> connection) {
  if (g_crashing_threads.load() != 0) new std::shared_ptr<CrashConnection>(std::move(connection));
}

[[noreturn]] void end_process(DWORD exit_code) {
  for (;;) {
    TerminateProcess(GetCurrentProcess(), exit_code);
    Sleep(INFINITE);
  }
}

// The report failed when the handler was gone; it is tried again only when the handler was just
// replaced.
void report_crash(const EXCEPTION_POINTERS* exception) {
  for (;;) {
    CrashConnection* connection = g_connection.load();
    if (connection == nullptr || connection->request_crash_dump(exception)) return;
    if (g_connection.load() == connection) return;
  }
}

// Runs on what a stack overflow leaves, so nothing down from here may keep more than a few hundred
// bytes on the stack, allocate, or take a lock.
[[noreturn]] void report_and_end_process(const EXCEPTION_POINTERS* exception) {
  const DWORD code = exception->ExceptionRecord->ExceptionCode;
  const DWORD self = GetCurrentThreadId();
  g_crashing_threads.fetch_add(1);

  DWORD reporting_thread = 0;
  if (g_reporting_thread.compare_exchange_strong(reporting_thread, self)) {
    report_crash(exception);
  } else if (reporting_thread != self) {
    // The first thread ends the process; this one only when that cannot be expected any more.
    CrashConnection* connection = g_connection.load();
    if (connection != nullptr) connection->wait_until_gone();
    Sleep(kLateThreadGraceMs);
  }
  // A crash inside the report comes straight here: nobody else would end the process.
  end_process(code);
}

LONG WINAPI handle_unhandled_exception(EXCEPTION_POINTERS* exception) {
  report_and_end_process(exception);
}

// The system ends a process with a corrupted heap without asking the unhandled exception filter.
LONG CALLBACK handle_heap_corruption(EXCEPTION_POINTERS* exception) {
  if (exception->ExceptionRecord->ExceptionCode == kStatusHeapCorruption) {
    report_and_end_process(exception);
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

void handle_abort(int) {
  CONTEXT context = {};
  RtlCaptureContext(&context);
  EXCEPTION_RECORD record = {};
  record.ExceptionCode = kStatusFatalAppExit;
  record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
  record.ExceptionAddress = reinterpret_cast<void*>(context.Rip);
  const EXCEPTION_POINTERS exception = {&record, &context};
  report_and_end_process(&exception);
}

void install_crash_handling() {
  // The process may have been patched so that the filter cannot be replaced any more; by then it is
  // ours already, so the result says nothing.
  SetUnhandledExceptionFilter(&handle_unhandled_exception);
  signal(SIGABRT, &handle_abort);
  static std::atomic<bool> vectored_handler_installed{false};
  if (!vectored_handler_installed.exchange(true)) {
    AddVectoredExceptionHandler(1, &handle_heap_corruption);
  }
}

}  // namespace

void direct_crashes_to(std::unique_ptr<CrashConnection> connection) {
  std::shared_ptr<CrashConnection> previous = std::move(connection);
  {
    const ScopedLock lock(&g_shared_connection_lock);
    g_connection.store(previous.get());
    shared_connection().swap(previous);
    g_connection.load()->publish(&g_wer_registration);
  }
  install_crash_handling();
  if (previous == nullptr) return;
  previous->tell_to_stop();
  let_go(std::move(previous));
}

WerRegistration* wer_registration() { return &g_wer_registration; }

void dump_without_crash(const CONTEXT& context) {
  std::shared_ptr<CrashConnection> connection;
  {
    const ScopedLock lock(&g_shared_connection_lock);
    connection = shared_connection();
  }
  if (connection == nullptr) return;
  CONTEXT own_context = context;
  EXCEPTION_RECORD record = {};
  record.ExceptionCode = kDumpWithoutCrashCode;
  record.ExceptionAddress = reinterpret_cast<void*>(context.Rip);
  const EXCEPTION_POINTERS exception = {&record, &own_context};
  {
    const ScopedLock lock(connection->dump_lock());
    connection->request_dump(&exception);
  }
  let_go(std::move(connection));
}

}  // namespace crashpad::internal
