#include "report/store/consent.h"

#include <wrenfall/wrenfall.h>

#include "api/boundary.h"
#include "api/state.h"

using namespace wrenfall;

wrenfall_result wrenfall_set_consent(uint32_t consent) {
  return with_state(WRENFALL_ERROR_FILE, [consent](State& state) -> wrenfall_result {
    if (consent > WRENFALL_CONSENT_ASK) return WRENFALL_ERROR_INVALID_ARGUMENT;
    if (write_consent(state.store_dir, consent)) return WRENFALL_OK;
    state.logger.error("Could not write the user's consent");
    return WRENFALL_ERROR_FILE;
  });
}
