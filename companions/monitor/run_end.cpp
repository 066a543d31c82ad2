#include "monitor/run_end.h"

#include "monitor/exit_code.h"

namespace wrenfall::monitor {

RunEnd run_end(const HostFacts& facts) {
  RunEnd end;
  end.time_ms = facts.end_ms;
  end.exit_code = facts.exit_code.value_or(0);
  if (facts.was_terminated) {
    end.how = RunEnd::How::kHung;
  } else if (facts.has_crashed) {
    end.how = RunEnd::How::kCrashed;
    end.crash_code = facts.crash_code;
  } else if (!facts.exit_code) {
    end.how = RunEnd::How::kUnknown;
    end.time_ms = 0;
  } else if (is_crash_code(*facts.exit_code) && !facts.system_ends) {
    end.how = RunEnd::How::kCrashed;
    end.crash_code = *facts.exit_code;
  } else {
    end.how = RunEnd::How::kEnded;
  }
  return end;
}

}  // namespace wrenfall::monitor
