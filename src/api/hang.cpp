#include "api/hang.h"

#include <wrenfall/wrenfall.h>

#include "api/boundary.h"
#include "api/state.h"
#include "backend/stack_guarantee.h"
#include "hang/watchdog.h"
#include "support/text.h"

namespace wrenfall {

HangPauses& hang_pauses() {
  static HangPauses pauses;
  return pauses;
}

}  // namespace wrenfall

using namespace wrenfall;

void wrenfall_heartbeat(void) {
  const std::shared_ptr<State> state = current_state();
  if (state && state->watchdog) state->watchdog->heartbeat();
}

wrenfall_result wrenfall_watch_thread(const char* name) {
  return with_state(WRENFALL_ERROR_FILE, [=](State& state) -> wrenfall_result {
    // For a thread that is older than init.
    guarantee_stack_of_this_thread();
    if (!state.watchdog) return WRENFALL_ERROR_HANG_DETECTION_OFF;
    state.watchdog->watch(text_or_empty(name));
    return WRENFALL_OK;
  });
}

void wrenfall_unwatch_thread(void) {
  const std::shared_ptr<State> state = current_state();
  if (state && state->watchdog) state->watchdog->unwatch();
}

void wrenfall_hang_pause(void) { hang_pauses().pause(); }

wrenfall_result wrenfall_hang_resume(void) {
  if (!hang_pauses().any()) return WRENFALL_ERROR_INVALID_ARGUMENT;
  // While the pause is still in force, so that the next tick finds no silence of before it.
  const std::shared_ptr<State> state = current_state();
  if (state && state->watchdog) state->watchdog->all_alive();
  return hang_pauses().resume() ? WRENFALL_OK : WRENFALL_ERROR_INVALID_ARGUMENT;
}
