#ifndef WRENFALL_SUPPORT_NAMED_EVENT_WIN_H_
#define WRENFALL_SUPPORT_NAMED_EVENT_WIN_H_

#include <string>

#include "support/win_handle.h"

namespace wrenfall {

// Opens an event that a NamedEvent of this or another process has made, to wait for it; empty when there
// is none.
ScopedKernelHandle open_named_event(const std::string& name);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_NAMED_EVENT_WIN_H_
