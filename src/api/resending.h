#ifndef WRENFALL_API_RESENDING_H_
#define WRENFALL_API_RESENDING_H_

#include <memory>

#include "api/state.h"

namespace wrenfall {

// Starts the thread that sends kept reports again when they are due, if the host turned resending on.
// The thread shares the state, and ends when the state's `resending` is ended: at once while it pauses,
// otherwise with the upload that it is making, which a shutdown does not wait for. Throws
// std::system_error where there is no thread to be had.
void start_resending(const std::shared_ptr<State>& state);

}  // namespace wrenfall

#endif  // WRENFALL_API_RESENDING_H_
