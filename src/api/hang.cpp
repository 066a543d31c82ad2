#include <wrenfall/wrenfall.h>

#include "api/boundary.h"
#include "api/state.h"
#include "hang/watchdog.h"
#include "support/text.h"

using namespace wrenfall;

void wrenfall_heartbeat(void) {
  const std::shared_ptr<State> state = current_state();
  if (state && state->watchdog) state->watchdog->heartbeat();
}

wrenfall_result wrenfall_watch_thread(const char* name) {
  return with_state(WRENFALL_ERROR_FILE, [=](State& state) -> wrenfall_result {
    if (!state.watchdog) return WRENFALL_ERROR_HANG_DETECTION_OFF;
    state.watchdog->watch(text_or_empty(name));
    return WRENFALL_OK;
  });
}

void wrenfall_unwatch_thread(void) {
  const std::shared_ptr<State> state = current_state();
  if (state && state->watchdog) state->watchdog->unwatch();
}
