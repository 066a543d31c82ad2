#ifndef WRENFALL_COMPANIONS_WER_WERAPI_WIN_H_
#define WRENFALL_COMPANIONS_WER_WERAPI_WIN_H_

#include <windows.h>

// The header of MinGW-w64 uses three names that it does not define.
#if defined(WRENFALL_COMPLETES_WERAPI)
#define WER_MAX_PREFERRED_MODULES_BUFFER 256
#define PWER_SUBMIT_RESULT WER_SUBMIT_RESULT*
DECLARE_HANDLE(HREPORT);
#endif

#include <werapi.h>

#endif  // WRENFALL_COMPANIONS_WER_WERAPI_WIN_H_
