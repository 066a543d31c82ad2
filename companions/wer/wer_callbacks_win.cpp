// The functions that Windows Error Reporting calls, in a process of its own, when a process that has
// registered this module crashes and none of its exception filters is called.
#include <algorithm>
#include <iterator>

#include "wer/dump_request_win.h"
#include "wer/fatal_exception_win.h"

namespace {

// The exceptions that bypass every filter. All others reach the process's own filter, which reports
// them and ends the process; they must not be reported twice.
constexpr DWORD kHandledExceptions[] = {
    0xC0000409,  // STATUS_STACK_BUFFER_OVERRUN: every __fastfail, damaged stack cookies among them.
    0xC0000602,  // STATUS_FAIL_FAST_EXCEPTION: RaiseFailFastException.
    0xC0000374,  // STATUS_HEAP_CORRUPTION
    0xC000027B,  // STATUS_STOWED_EXCEPTION: unhandled errors of the Windows Runtime.
};

bool is_handled(const WER_RUNTIME_EXCEPTION_INFORMATION* information) {
  return information != nullptr && information->dwSize >= wrenfall::wer::kFatalOffset &&
         std::find(std::begin(kHandledExceptions), std::end(kHandledExceptions),
                   information->exceptionRecord.ExceptionCode) != std::end(kHandledExceptions);
}

}  // namespace

extern "C" {

HRESULT WINAPI OutOfProcessExceptionEventCallback(
    PVOID context, const PWER_RUNTIME_EXCEPTION_INFORMATION information, BOOL* ownership_claimed,
    PWSTR /*event_name*/, PDWORD /*event_name_size*/, PDWORD /*signature_count*/) {
  if (ownership_claimed == nullptr) return E_INVALIDARG;
  *ownership_claimed = FALSE;
  if (context == nullptr || !is_handled(information) ||
      !wrenfall::wer::report_exception(context, *information)) {
    // The system continues as if this module did not exist.
    return S_OK;
  }
  *ownership_claimed = TRUE;
  // The report is made and the process has ended. After a success the system would make a report of
  // its own, with the names that the other two functions give.
  return E_FAIL;
}

HRESULT WINAPI OutOfProcessExceptionEventSignatureCallback(
    PVOID /*context*/, const PWER_RUNTIME_EXCEPTION_INFORMATION /*information*/, DWORD /*index*/,
    PWSTR /*name*/, PDWORD /*name_size*/, PWSTR /*value*/, PDWORD /*value_size*/) {
  return E_FAIL;
}

HRESULT WINAPI OutOfProcessExceptionEventDebuggerLaunchCallback(
    PVOID /*context*/, const PWER_RUNTIME_EXCEPTION_INFORMATION /*information*/,
    BOOL* /*is_custom_debugger*/, PWSTR /*debugger_launch*/, PDWORD /*debugger_launch_size*/,
    BOOL* /*is_debugger_autolaunch*/) {
  return E_FAIL;
}

}  // extern "C"
