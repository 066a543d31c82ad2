#ifndef WRENFALL_BACKEND_FILTER_GUARD_WIN_H_
#define WRENFALL_BACKEND_FILTER_GUARD_WIN_H_

#include "support/logger.h"

namespace wrenfall {

// Patches this process's SetUnhandledExceptionFilter so that it returns null and changes nothing. A
// library or runtime that calls it later cannot replace the crash filter that is installed. The
// patch is never undone. Does nothing, silently, when the function is not found or may not be
// patched.
void protect_exception_filter(Logger& logger);

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_FILTER_GUARD_WIN_H_
