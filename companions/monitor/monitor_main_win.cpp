#include <windows.h>

#include <chrono>
#include <exception>
#include <optional>
#include <string>

#include "common/program_io.h"
#include "common/program_start.h"
#include "monitor/dump_collector.h"
#include "monitor/dump_watcher_win.h"
#include "monitor/exit_code.h"
#include "monitor/handler_output_win.h"
#include "monitor/monitor_options.h"
#include "monitor/process_start_win.h"
#include "monitor/run_end.h"
#include "monitor/watched_process.h"
#include "report/store/last_run.h"
#include "report/store/layout.h"
#include "support/clock.h"
#include "support/encoding.h"
#include "support/error_text.h"
#include "support/files.h"
#include "support/logger.h"
#include "support/paths.h"
#include "support/process_start.h"
#include "support/text.h"
#include "support/version.h"
#include "support/win_handle.h"

namespace wrenfall::monitor {
namespace {

namespace fs = std::filesystem;

// Of the monitor itself. Once the handler has run, the exit code is the handler's.
enum ExitCode : int {
  kExitOk = 0,
  kExitBadArguments = 2,
  kExitHandlerNotStarted = 3,
};

constexpr char kHelp[] =
    "WrenfallMonitor.exe turns the crash dumps of a process into reports.\n"
    "Wrenfall.dll starts it in place of the capture handler and tells it what it needs:\n"
    "  --database=DIR                      where the handler writes its dumps\n"
    "  --annotation=wrenfall.store=DIR     where the reports go\n"
    "  --annotation=wrenfall.session=TAG   the process that is watched\n"
    "  --annotation=wrenfall.reporter=EXE  the program that sends the reports\n"
    "All arguments are passed on to crashpad_handler.exe in the same folder.\n"
    "  --help, --version                   print this text or the version\n";

// After the handler's end its dumps are complete, but another program may have one open for a
// moment. The monitor waits this long for them.
constexpr std::chrono::seconds kLastSweep(2);
constexpr DWORD kLastSweepPauseMs = 20;

// A host whose handler has ended by itself is about to end as well.
constexpr std::chrono::seconds kHostEnd(1);

// Runs steps whose exceptions must not end the watch. An exception is logged, once for each change
// of its text.
class LoggedSteps {
 public:
  explicit LoggedSteps(Logger& logger) : logger_(logger) {}

  template <typename Step>
  DumpWatcher::Outlook run(Step step) {
    try {
      const DumpWatcher::Outlook outlook = step();
      last_error_.clear();
      return outlook;
    } catch (const std::exception& error) {
      const std::string text = error_text(error);
      if (last_error_ != text) logger_.error("Looking for dumps failed: %s", text.c_str());
      last_error_ = text;
      return DumpWatcher::Outlook::kUnsettled;
    }
  }

 private:
  Logger& logger_;
  std::string last_error_;
};

StartReporter reporter_starter(const std::string& reporter, Logger& logger) {
  return [reporter, &logger](const fs::path& folder) {
    if (reporter.empty()) {
      logger.error("Reporter not started for %s: none is set", path_to_utf8(folder).c_str());
      return false;
    }
    const uint32_t error = start_program(utf8_to_path(reporter), {folder});
    if (error == 0) {
      logger.info("Reporter started for %s", path_to_utf8(folder).c_str());
      return true;
    }
    logger.error("Reporter not started for %s (error %u): %s", path_to_utf8(folder).c_str(), error,
                 reporter.c_str());
    return false;
  };
}

// Logs that a crash left no dump: the disk was full, the handler was killed, or it never saw the
// crash.
void report_lost_crash(const ProcessExit& host_exit, const ProcessIdentity& host,
                       const fs::path& store, Logger& logger) {
  const auto code = host_exit.exit_code();
  if (!code || !is_crash_code(*code)) return;
  logger.error("Process %llu ended with code %s, but no dump of a crash came (%llu MiB free)",
               static_cast<unsigned long long>(host.process_id), hex_code(*code).c_str(),
               static_cast<unsigned long long>(free_space(store).value_or(0) >> 20));
}

// Where the store records its runs, writes how the one ended that this monitor watched.
void record_run_end(const ProcessExit& host_exit, const DumpCollector& collector,
                    const ProcessIdentity& host, const fs::path& store, int64_t start_ms) {
  if (!path_exists(store / kLastRunFile)) return;
  host_exit.wait(kHostEnd);
  HostFacts facts;
  facts.exit_code = host_exit.exit_code();
  facts.end_ms = host_exit.end_ms();
  facts.has_crashed = collector.has_seen_crash();
  facts.crash_code = collector.crash_code();
  facts.was_terminated = collector.has_terminated_host();
  facts.system_ends = is_system_ending();
  end_run(store, host, start_ms, run_end(facts));
}

void watch(HANDLE handler, const MonitorOptions& options, HandlerOutput& output, Logger& logger) {
  const fs::path store = utf8_to_path(options.store);
  const fs::path reports = utf8_to_path(options.database) / kDumpsFolder;
  const int64_t start_ms = unix_now_ms();
  DumpCollector collector({reports, store}, options.host, options.limits,
                          reporter_starter(options.reporter, logger), logger);
  DumpWatcher watcher(handler, reports, store / kSessionsFolder);
  const ProcessExit host_exit(options.host);
  LoggedSteps steps(logger);
  using Outlook = DumpWatcher::Outlook;
  const auto look = [&] {
    output.log_new_lines(logger);
    collector.refresh_session();
    if (collector.collect()) return Outlook::kFinishedSoon;
    return collector.has_unsettled() ? Outlook::kUnsettled : Outlook::kQuiet;
  };

  watcher.arm();
  Outlook outlook = steps.run(look);
  steps.run([&collector] {
    collector.finish_half_made_folders();
    collector.apply_retention();
    return Outlook::kQuiet;
  });
  while (watcher.wait(outlook)) {
    watcher.arm();
    outlook = steps.run(look);
  }
  // A handler that was killed while it wrote a dump leaves the host suspended, and nothing else would
  // resume it.
  if (resume_frozen_process(options.host)) {
    logger.warn("Process %llu resumed: its capture handler ended in the middle of a dump",
                static_cast<unsigned long long>(options.host.process_id));
  }
  const AwakeClock::time_point end = AwakeClock::now() + kLastSweep;
  while (steps.run(look) == Outlook::kFinishedSoon && AwakeClock::now() < end) {
    Sleep(kLastSweepPauseMs);
  }
  output.log_rest(logger);
  if (!collector.has_seen_crash()) report_lost_crash(host_exit, options.host, store, logger);
  steps.run([&] {
    record_run_end(host_exit, collector, options.host, store, start_ms);
    return Outlook::kQuiet;
  });
}

// Some capture clients give their handler the host's standard handles. A program that reads the host's
// output to its end must not wait for this process, nor for the handler, which inherits from it.
void close_standard_handles() {
  for (const DWORD which : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    const HANDLE handle = GetStdHandle(which);
    SetStdHandle(which, nullptr);
    if (handle != nullptr && handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
  }
}

int monitor(const MonitorOptions& options, Logger& logger) {
  close_standard_handles();
  const fs::path handler_path = application_dir() / kHandlerExecutable;
  HandlerOutput output;
  const ScopedKernelHandle handler = start_handler(handler_path, output.write_end());
  const DWORD error = GetLastError();
  if (!handler) {
    logger.error("Capture handler not started (error %lu): %s", error,
                 path_to_utf8(handler_path).c_str());
    return kExitHandlerNotStarted;
  }
  watch(handler.get(), options, output, logger);
  DWORD exit_code = kExitHandlerNotStarted;
  GetExitCodeProcess(handler.get(), &exit_code);
  logger.info("Capture handler ended with code %lu", exit_code);
  return static_cast<int>(exit_code);
}

int refuse(const MonitorOptions& options, Logger& logger) {
  logger.error("Monitor not started: %s", options.error.c_str());
  print_text(TextStream::kError, "WrenfallMonitor: " + options.error + "\n");
  return kExitBadArguments;
}

int run() {
  prepare_program();
  // When the user logs off, this process ends after the one it watches.
  SetProcessShutdownParameters(0x100, SHUTDOWN_NORETRY);

  const MonitorOptions options = parse_monitor_options(program_arguments());
  Logger logger;
  if (!options.store.empty()) {
    create_folders(utf8_to_path(options.store));
    logger.set_path(utf8_to_path(options.store) / kLogFile);
  }
  switch (options.request) {
    case MonitorOptions::Request::kHelp:
      print_text(TextStream::kOutput, kHelp);
      return kExitOk;
    case MonitorOptions::Request::kVersion:
      print_text(TextStream::kOutput, "WrenfallMonitor " WRENFALL_VERSION_TEXT "\n");
      return kExitOk;
    case MonitorOptions::Request::kUnusable:
      return refuse(options, logger);
    default:
      return monitor(options, logger);
  }
}

}  // namespace
}  // namespace wrenfall::monitor

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) { return wrenfall::monitor::run(); }
