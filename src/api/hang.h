#ifndef WRENFALL_API_HANG_H_
#define WRENFALL_API_HANG_H_

#include "hang/hang_holds.h"

namespace wrenfall {

// The pauses of this process. They last over shutdown and init, so that a part of the host that pauses
// need not know when another part starts the library.
HangPauses& hang_pauses();

}  // namespace wrenfall

#endif  // WRENFALL_API_HANG_H_
