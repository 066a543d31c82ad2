#include "client/crash_filter_win.h"

#include <client/crashpad_info.h>
#include <signal.h>

#include <atomic>
#include <cstdint>
#include <utility>

#include "common/client_protocol.h"

namespace crashpad::internal {
namespace {

constexpr DWORD kStatusHeapCorruption = 0xC0000374;
constexpr DWORD kStatusFatalAppExit = 0x40000015;

// After the handler's end the first crashing thread has this long to end the process, before another
// crashing thread does it.
constexpr DWORD kLateThreadGraceMs = 2000;

// All globals here are constant-initialised and never destroyed, because a crash may come before or
// after main().

// The connection for crashes. It points at the same object as shared_connection().
std::atomic<CrashConnection*> g_connection{nullptr};

// The number of threads that have entered the crash path. None of them leaves it. While there is one,
// no connection is freed.
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

// The connection for everything but crashes; its users keep it alive. Guarded by the lock above.
std::shared_ptr<CrashConnection>& shared_connection() {
  static auto& connection = *new std::shared_ptr<CrashConnection>;
  return connection;
}

// Drops a reference to a connection that may have been replaced. A crashing thread counts itself before
// it loads the connection. So when the count is 0, a thread that crashes from now on finds the new
// connection, and the old one can be freed. Otherwise the process is ending, and the reference is
// leaked.
void let_go(std::shared_ptr<CrashConnection> connection) {
  if (g_crashing_threads.load() != 0) new std::shared_ptr<CrashConnection>(std::move(connection));
}

[[noreturn]] void end_process(DWORD exit_code) {
  for (;;) {
    TerminateProcess(GetCurrentProcess(), exit_code);
    Sleep(INFINITE);
  }
}

// A report fails when the handler is gone. It is repeated only when the handler was replaced
// meanwhile.
void report_crash(const EXCEPTION_POINTERS* exception) {
  for (;;) {
    CrashConnection* connection = g_connection.load();
    if (connection == nullptr || connection->request_crash_dump(exception)) return;
    if (g_connection.load() == connection) return;
  }
}

// Runs on the stack that an overflow leaves free. So this function and all that it calls may use no
// more than a few hundred bytes of stack, must not allocate, and must take no lock.
[[noreturn]] void report_and_end_process(const EXCEPTION_POINTERS* exception) {
  const DWORD code = exception->ExceptionRecord->ExceptionCode;
  const DWORD self = GetCurrentThreadId();
  g_crashing_threads.fetch_add(1);

  DWORD reporting_thread = 0;
  if (g_reporting_thread.compare_exchange_strong(reporting_thread, self)) {
    report_crash(exception);
  } else if (reporting_thread != self) {
    // The first thread ends the process. This one does it only when the first one seems to be stuck.
    CrashConnection* connection = g_connection.load();
    if (connection != nullptr) connection->wait_until_gone();
    Sleep(kLateThreadGraceMs);
  }
  // A crash inside the report comes here at once, because no other thread would end the process.
  end_process(code);
}

LONG WINAPI handle_unhandled_exception(EXCEPTION_POINTERS* exception) {
  report_and_end_process(exception);
}

// On heap corruption the system ends the process without calling the unhandled exception filter.
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
  // The result says nothing: when this function is patched so that the filter can no longer be
  // replaced, the filter in force is already this one.
  SetUnhandledExceptionFilter(&handle_unhandled_exception);
  signal(SIGABRT, &handle_abort);
  static std::atomic<bool> vectored_handler_installed{false};
  if (!vectored_handler_installed.exchange(true)) {
    AddVectoredExceptionHandler(1, &handle_heap_corruption);
  }
}

}  // namespace

void direct_crashes_to(std::unique_ptr<CrashConnection, CrashConnection::Deleter> connection) {
  connection->protect();
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

WerRegistration* prepare_wer_registration() {
  const ScopedLock lock(&g_shared_connection_lock);
  if (shared_connection() != nullptr) {
    shared_connection()->set_wer_gathering(
        CrashpadInfo::GetCrashpadInfo()->gather_indirectly_referenced_memory() ==
        TriState::kEnabled);
  }
  return &g_wer_registration;
}

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
