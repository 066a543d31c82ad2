#include <wrenfall/wrenfall.h>

#include <memory>

#include "api/boundary.h"
#include "api/state.h"
#include "report/store/pending_reports.h"
#include "support/detached_thread.h"
#include "support/paths.h"
#include "support/process_start.h"
#include "support/text.h"

namespace wrenfall {
namespace {

// Starts the reporter for the store. The reporter looks for the reports itself; where another one asks
// already, it leaves them to that one and ends.
void start_asking(State& state) {
  if (reports_to_ask_about(state.store_dir).empty()) {
    state.logger.info("No report waits for the user's answer");
    return;
  }
  if (!state.is_published()) return;
  const uint32_t error = start_program(
      state.reporter_path, {"--ask", state.store_dir, "--program", application_path(),
                            "--application", utf8_to_path(state.configuration.facts.appName)});
  const std::string store = path_to_utf8(state.store_dir);
  if (error == 0) {
    state.logger.info("Reporter started for %s", store.c_str());
  } else {
    state.logger.error("Reporter not started for %s (error %u): %s", store.c_str(), error,
                       path_to_utf8(state.reporter_path).c_str());
  }
}

}  // namespace
}  // namespace wrenfall

using namespace wrenfall;

wrenfall_result wrenfall_ask_pending_reports_async(void) {
  return with_state(WRENFALL_ERROR_FILE, [](State& state) -> wrenfall_result {
    start_detached_thread([held = state.shared_from_this()] {
      run_logged(*held, "Asking about pending reports", [&held] { start_asking(*held); });
    });
    return WRENFALL_OK;
  });
}
