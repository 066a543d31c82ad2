#ifndef WRENFALL_COMPANIONS_WER_DUMP_REQUEST_WIN_H_
#define WRENFALL_COMPANIONS_WER_DUMP_REQUEST_WIN_H_

#include "wer/werapi_win.h"

namespace wrenfall::wer {

// Has the capture handler of the crashed process write a dump of the exception, waits for that for at
// most 10 s, and ends the process with the exception's code. True when the handler has answered. When
// the process would go on, when anything in its memory is not as expected, or when no answer comes, it
// is left as it was and the result is false. `registration` is the address that the process has
// registered this module with.
bool report_exception(void* registration, const WER_RUNTIME_EXCEPTION_INFORMATION& information);

}  // namespace wrenfall::wer

#endif  // WRENFALL_COMPANIONS_WER_DUMP_REQUEST_WIN_H_
