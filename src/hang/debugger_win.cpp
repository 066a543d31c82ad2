#include <windows.h>

#include "hang/hang_holds.h"

namespace wrenfall {

bool is_debugger_attached() { return IsDebuggerPresent() != FALSE; }

}  // namespace wrenfall
