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

// For a module that CrashpadClient::RegisterWerModule() has registered: the work of its
// OutOfProcessExceptionEventCallback, which Windows Error Reporting calls in a process of its own
// and whose first two arguments this takes.
//
// When the exception's code is one of `handled_exceptions`, lets the crashed process's handler
// write a dump, waits for that, for a minute at most, and ends the process with the code. True when
// the dump is complete on disk. False, with the process left as it was, for every other exception
// and whenever something does not fit: the crashed process's memory is not trusted.
bool ExceptionEvent(const DWORD* handled_exceptions, size_t num_handled_exceptions,
                    const PVOID context, const PWER_RUNTIME_EXCEPTION_INFORMATION information);

}  // namespace crashpad::wer

#endif  // WRENFALL_FALLBACK_HANDLER_WIN_WER_CRASHPAD_WER_H_
