// A host that has failures of its own C and C++ runtime reported. These end the process without an
// exception that the library could see, and each runtime (every module that links one statically
// has its own) calls only handlers that were set in it. So the host sets them, after wrenfall_init.
//
//   runtime_failures STORE abort | terminate | pure-virtual
#include <windows.h>
#include <wrenfall/wrenfall.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "pure_virtual_call.h"
#include "utf8_arguments.h"

namespace {

// Codes of this host's own, to tell the failures apart in reports.
enum RuntimeFailure : DWORD {
  kAbort = 0xE0000001,
  kTerminate = 0xE0000002,
  kPureVirtualCall = 0xE0000003,
  kInvalidParameter = 0xE0000004,
};

// Does what an exception that nobody handles would do: asks the process's exception filter, which
// is the library's, without a search through handlers that might take it. The report shows the
// stack of the failure. Never returns where the library is initialized.
[[noreturn]] void report_and_end(RuntimeFailure failure) {
  CONTEXT context{};
  RtlCaptureContext(&context);
  EXCEPTION_RECORD record{};
  record.ExceptionCode = failure;
  record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
  record.ExceptionAddress = reinterpret_cast<void*>(context.Rip);
  EXCEPTION_POINTERS exception{&record, &context};
  UnhandledExceptionFilter(&exception);
  TerminateProcess(GetCurrentProcess(), failure);
  for (;;) Sleep(INFINITE);
}

void on_abort(int) { report_and_end(kAbort); }
void on_terminate() { report_and_end(kTerminate); }
void on_invalid_parameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t) {
  report_and_end(kInvalidParameter);
}

void report_runtime_failures() {
  std::signal(SIGABRT, on_abort);
  // Microsoft's runtime keeps this one for each thread; on a thread without it, and in others'
  // runtimes, std::terminate ends in abort.
  std::set_terminate(on_terminate);
  // Only Microsoft's newer runtimes call it; the one that MinGW uses by default does not.
  _set_invalid_parameter_handler(on_invalid_parameter);
#ifdef _MSC_VER
  _set_purecall_handler([] { report_and_end(kPureVirtualCall); });
#endif  // Linked statically by MinGW, a pure virtual call is one of a null pointer.
}

// ---------------------------------------------------------------------------- ways to fail

void fail(const char* kind) {
  if (std::strcmp(kind, "abort") == 0) std::abort();
  if (std::strcmp(kind, "terminate") == 0) std::terminate();
  if (std::strcmp(kind, "pure-virtual") == 0) pure_virtual::call();
}

}  // namespace

int main() {
  int argc = 0;
  char** const argv = utf8_arguments(&argc);
  if (argc != 3) {
    std::fputs("usage: runtime_failures STORE abort | terminate | pure-virtual\n", stderr);
    return 2;
  }
  wrenfall_options* const options = wrenfall_options_new("127", "Runtime Failures", "1.0");
  wrenfall_options_set_store_dir(options, argv[1]);
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
  if (wrenfall_init(options) != WRENFALL_OK) return 1;
  report_runtime_failures();
  fail(argv[2]);
  wrenfall_shutdown();
  return 1;
}
