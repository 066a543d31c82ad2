#include "hang/hang_holds.h"

namespace wrenfall {

bool is_debugger_attached() { return false; }

}  // namespace wrenfall
