#ifndef WRENFALL_BACKEND_FILTER_GUARD_WIN_H_
#define WRENFALL_BACKEND_FILTER_GUARD_WIN_H_

#include "support/logger.h"

namespace wrenfall {

// Patches this process's SetUnhandledExceptionFilter so that it returns null and changes nothing. A
// library or runtime that calls it later cannot replace the crash filter that is installed. The
// patch is never undone. Logs whether that was done: a process that may not change its own code (arbitrary
// code guard) goes on without the guard. Callers that do not come through kernel32.dll, as with the
// function of the same name in kernelbase.dll, are not kept from replacing the filter.
void protect_exception_filter(Logger& logger);

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_FILTER_GUARD_WIN_H_
