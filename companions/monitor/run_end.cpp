#include "monitor/run_end.h"

#include <algorithm>

#include "monitor/exit_code.h"

namespace wrenfall::monitor {
namespace {

// The dump's time says in which second the crash was.
int64_t crash_ms(const HostFacts& facts) {
  if (facts.crash_time == 0) return facts.end_ms;
  const int64_t latest = int64_t{facts.crash_time} * 1000 + 999;
  return facts.end_ms == 0 ? latest : std::min(facts.end_ms, latest);
}

}  // namespace

RunEnd run_end(const HostFacts& facts) {
  RunEnd end;
  end.time_ms = facts.end_ms;
  end.exit_code = facts.exit_code.value_or(0);
  if (facts.was_terminated) {
    end.how = RunEnd::How::kHung;
  } else if (facts.has_crashed) {
    end.how = RunEnd::How::kCrashed;
    end.crash_code = facts.crash_code;
    end.time_ms = crash_ms(facts);
  } else if (!facts.exit_code) {
    end.how = RunEnd::How::kUnknown;
    end.time_ms = 0;
  } else if (is_crash_code(*facts.exit_code) && !facts.system_ends) {
    end.how = RunEnd::How::kCrashed;
    end.crash_code = *facts.exit_code;
    end.time_ms -= std::min(end.time_ms, wait_before(*facts.exit_code));
  } else {
    end.how = RunEnd::How::kEnded;
  }
  return end;
}

}  // namespace wrenfall::monitor
