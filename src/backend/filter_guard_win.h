#ifndef WRENFALL_BACKEND_FILTER_GUARD_WIN_H_
#define WRENFALL_BACKEND_FILTER_GUARD_WIN_H_

#include "support/logger.h"

namespace wrenfall {

// Patches this process's SetUnhandledExceptionFilter so that it returns null and changes nothing:
// whoever calls it later, another library or a runtime, cannot replace the crash filter that is
// installed. Never undone. Does nothing, silently, where the function or the right to patch it is
// missing. `logger` may be null.
void protect_exception_filter(Logger* logger);

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_FILTER_GUARD_WIN_H_
