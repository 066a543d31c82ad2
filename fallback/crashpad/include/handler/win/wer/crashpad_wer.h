#ifndef WRENFALL_FALLBACK_HANDLER_WIN_WER_CRASHPAD_WER_H_
#define WRENFALL_FALLBACK_HANDLER_WIN_WER_CRASHPAD_WER_H_

#include <windows.h>

#include <cstddef>

// The header of MinGW-w64 uses three names that it does not define.
#if defined(CRASHPAD_COMPLETES_WERAPI)
#define WER_MAX_PREFERRED_MODULES_BUFFER 256
#define PWER_SUBMIT_RESULT WER_SUBMIT_RESULT*
DECLARE_HANDLE(HREPORT);
#endif

#include <werapi.h>

namespace crashpad::wer {

// Does the work of OutOfProcessExceptionEventCallback in a module that was registered by
// CrashpadClient::RegisterWerModule(). Windows Error Reporting calls that function in a process of its
// own; its first two arguments are the last two of this one.
//
// When the exception's code is one of `handled_exceptions`, this has the crashed process's handler
// write a dump, waits for that for at most a minute, and ends the process with the code. True when the
// dump is complete on disk. For every other exception, and when anything in the crashed process's
// memory is not as expected, the process is left as it was and the result is false.
bool ExceptionEvent(const DWORD* handled_exceptions, size_t num_handled_exceptions,
                    const PVOID context, const PWER_RUNTIME_EXCEPTION_INFORMATION information);

}  // namespace crashpad::wer

#endif  // WRENFALL_FALLBACK_HANDLER_WIN_WER_CRASHPAD_WER_H_
