#include "monitor/exit_code.h"

namespace wrenfall::monitor {
namespace {

// The user pressed Ctrl-C, or closed the console.
constexpr uint32_t kControlCExit = 0xC000013A;

// STATUS_FATAL_APP_EXIT (winnt.h), which the filter of the abort signal raises.
constexpr uint32_t kAborted = 0x40000015;

// With these the capture client ends a process whose crash gave no dump: it, or the handler, failed.
constexpr uint32_t kFirstWithoutDump = 0xFFFF7001, kLastWithoutDump = 0xFFFF7003;

// With the first of them nearly always after it has waited this long for the handler to end the process.
constexpr int64_t kWaitForHandlerMs = 60000;

}  // namespace

bool is_crash_code(uint32_t exit_code) {
  if (exit_code == kAborted) return true;
  if (exit_code >= kFirstWithoutDump && exit_code <= kLastWithoutDump) return true;
  // Breakpoints and the like, whose codes say "warning" rather than "error".
  if (exit_code >> 4 == 0x8000000) return true;
  // Exception codes have the two highest bits set; the third one marks codes of applications. The
  // fourth is never set: a code that has it is a small negative number that a program returned.
  const uint32_t kind = exit_code >> 28;
  return (kind == 0xC || kind == 0xE) && exit_code != kControlCExit;
}

int64_t wait_before(uint32_t exit_code) {
  return exit_code == kFirstWithoutDump ? kWaitForHandlerMs : 0;
}

}  // namespace wrenfall::monitor
