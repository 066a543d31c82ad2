#ifndef WRENFALL_COMPANIONS_MONITOR_HOST_WATCH_WIN_H_
#define WRENFALL_COMPANIONS_MONITOR_HOST_WATCH_WIN_H_

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "monitor/dump_collector.h"
#include "monitor/dump_watcher_win.h"
#include "monitor/frozen_hosts_win.h"
#include "monitor/handler_output_win.h"
#include "monitor/monitor_options.h"
#include "monitor/watched_process.h"
#include "support/clock.h"
#include "support/logger.h"
#include "support/win_handle.h"

namespace wrenfall::monitor {

// One host and its capture handler, from the handler's start to the end of both:
//   1. The handler runs. Its dumps become reports.
//   2. The handler has ended while the host runs: it is replaced, or, where handlers do not live, the
//      monitor waits for the end of the host.
//   3. The host has ended, or a later run of the host is up, whose monitor does all this: the handler is
//      ended if it still runs, and the last dumps are taken. What was lost is logged by the monitor of the
//      last run that has a handler.
// Used by one thread. The logger outlives it.
class HostWatch {
 public:
  HostWatch(const MonitorOptions& options, Logger& logger);

  // False, with an error logged, when the handler does not start. Before watch().
  bool start_handler();

  // Blocks until state 3 is over.
  void watch();

  // Of the last handler.
  uint32_t handler_exit_code() const { return handler_exit_code_; }

 private:
  using Outlook = DumpWatcher::Outlook;
  enum class Event { kChange, kHandlerEnded, kHostEnded, kSuccessor };

  // Runs a step whose exceptions must not end the watch. An exception is logged, once for each change of
  // its text.
  template <typename Step>
  Outlook run_logged(Step step);

  Outlook look();
  Event wait(Outlook outlook);
  // Resumes the host when the handler, which has ended, was killed in the middle of a dump and so left it
  // suspended. Where the handler of a later run may be writing a dump, which suspends the host as well,
  // only if a dump was being written that nobody writes any more; the later run's monitor sees to the rest.
  // A host under a debugger is resumed too: nobody else would take back what the handler did, and one that
  // the debugger has stopped at an event stays stopped. True when the host was resumed.
  bool resume_host(bool others_may_write);
  // Whether a later run of the host has a handler, or is about to: it sees to a crash of the host.
  bool is_replaced() const;
  // Whether the handler hangs although its host has ended.
  bool is_handler_stuck();
  // False when the watch is over.
  bool after_handler_end();
  void end_handler();
  void take_last_dumps();
  void report_lost_crash() const;
  void record_run_end() const;

  const MonitorOptions& options_;
  const std::filesystem::path store_;
  const int64_t start_ms_ = unix_now_ms();
  Logger& logger_;
  HandlerOutput output_;
  const ScopedKernelHandle host_;              // empty when it may not be opened
  const ScopedKernelHandle up_;                // set once this run is up
  const ScopedKernelHandle successor_starts_;  // set once a later run starts its handler
  const ScopedKernelHandle successor_;         // set once a later run is up
  const ProcessExit host_exit_;
  DumpCollector collector_;
  DumpWatcher watcher_;
  FrozenHosts frozen_hosts_;
  ScopedKernelHandle handler_;  // empty once it has ended and is not replaced
  AwakeClock::time_point handler_start_;
  uint32_t handler_exit_code_ = 0;
  int short_lives_ = 0;
  std::optional<AwakeClock::time_point> successor_came_;  // when it was noticed
  std::optional<AwakeClock::time_point> host_end_;        // noticed while the handler lives on
  std::string last_error_;
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_HOST_WATCH_WIN_H_
