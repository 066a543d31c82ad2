#include <windows.h>

#include "common/program_io.h"
#include "common/program_start.h"
#include "monitor/database_use_win.h"
#include "monitor/host_watch_win.h"
#include "monitor/monitor_options.h"
#include "report/store/layout.h"
#include "support/files.h"
#include "support/logger.h"
#include "support/text.h"
#include "support/version.h"
#include "support/win_handle.h"

namespace wrenfall::monitor {
namespace {

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
  const ScopedFile use = use_database(utf8_to_path(options.database));
  HostWatch host(options, logger);
  if (!host.start_handler()) return kExitHandlerNotStarted;
  host.watch();
  const uint32_t exit_code = host.handler_exit_code();
  logger.info("Capture handler ended with code %lu", static_cast<unsigned long>(exit_code));
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
