#include "report/store/consent.h"

#include <wrenfall/wrenfall.h>

#include "api/boundary.h"
#include "api/state.h"
#include "report/store/kept_reports.h"

using namespace wrenfall;

namespace {

// A later consent must not find what somebody agreed to before the refusal.
void take_agreements_back(State& state) {
  try {
    forget_agreements(state.store_dir);
  } catch (const DirectoryIterationError& error) {
    state.logger.warn("Kept reports not found: %s", error_text(error).c_str());
  }
}

}  // namespace

wrenfall_result wrenfall_set_consent(uint32_t consent) {
  return with_state(WRENFALL_ERROR_FILE, [consent](State& state) -> wrenfall_result {
    if (consent > WRENFALL_CONSENT_ASK) return WRENFALL_ERROR_INVALID_ARGUMENT;
    if (!write_consent(state.store_dir, consent)) {
      state.logger.error("Could not write the user's consent");
      return WRENFALL_ERROR_FILE;
    }
    if (consent == WRENFALL_CONSENT_REFUSED) take_agreements_back(state);
    return WRENFALL_OK;
  });
}
