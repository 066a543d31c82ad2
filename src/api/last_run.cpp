#include <wrenfall/wrenfall.h>

#include <algorithm>
#include <limits>

#include "api/boundary.h"
#include "api/state.h"

namespace wrenfall {
namespace {

uint32_t state_of(RunEnd::How how) {
  switch (how) {
    case RunEnd::How::kClean:
      return WRENFALL_RUN_CLEAN;
    case RunEnd::How::kCrashed:
      return WRENFALL_RUN_CRASHED;
    case RunEnd::How::kHung:
      return WRENFALL_RUN_HUNG;
    case RunEnd::How::kEnded:
      return WRENFALL_RUN_ENDED;
    default:
      return WRENFALL_RUN_UNKNOWN;
  }
}

void fill(const RunRecorder::Answer& answer, wrenfall_last_run& record) {
  const uint32_t size = record.size;
  record = {};
  record.size = size;
  record.state = WRENFALL_RUN_NONE;
  if (!answer.known) return;
  const RunRecord& run = answer.run;
  record.state = state_of(run.end.how);
  record.exception_code = run.end.crash_code;
  record.exit_code = run.end.exit_code;
  record.start_time = run.start_ms;
  record.end_time = run.end.time_ms;
  record.crashes_in_a_row = crashes_in_a_row(run);
  record.uptime_ms_capped = static_cast<uint32_t>(
      std::min<int64_t>(uptime_ms(run), std::numeric_limits<uint32_t>::max()));
}

}  // namespace
}  // namespace wrenfall

using namespace wrenfall;

wrenfall_result wrenfall_get_last_run(wrenfall_last_run* run) {
  return with_state(WRENFALL_ERROR_FILE, [run](State& state) -> wrenfall_result {
    if (run == nullptr || run->size < sizeof *run) return WRENFALL_ERROR_INVALID_ARGUMENT;
    RunRecorder::Answer answer;
    if (!state.recorder.ask(answer)) return WRENFALL_ERROR_FILE;
    fill(answer, *run);
    return WRENFALL_OK;
  });
}
