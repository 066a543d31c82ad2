#ifndef WRENFALL_COMPANIONS_MONITOR_SHOWN_THREAD_H_
#define WRENFALL_COMPANIONS_MONITOR_SHOWN_THREAD_H_

#include "minidump/minidump_reader.h"
#include "monitor/claimed_dump.h"
#include "support/logger.h"

namespace wrenfall::monitor {

// Dumps on demand are taken on a thread of the library's own, so their exception stream names that
// thread. This makes it name the thread that the dump is of: the caller of a capture, or the thread
// that hangs, which is then shown with its own registers. Doing it twice changes nothing. A dump of a
// crash, or one that does not say its thread, stays as it is; so does one that cannot be changed, with
// a warning logged.
void show_thread_of_interest(ClaimedDump& dump, const minidump::DumpFacts& facts, Logger& logger);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_SHOWN_THREAD_H_
