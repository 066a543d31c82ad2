#include "monitor/host_watch_win.h"

#include <exception>
#include <vector>

#include "monitor/handler_end.h"
#include "monitor/host_program.h"
#include "monitor/lost_crash.h"
#include "monitor/process_start_win.h"
#include "monitor/run_end.h"
#include "monitor/watched_process_win.h"
#include "report/store/crash_data.h"
#include "report/store/last_run.h"
#include "report/store/layout.h"
#include "report/store/upload_policy.h"
#include "support/error_text.h"
#include "support/files.h"
#include "support/named_event_win.h"
#include "support/paths.h"
#include "support/process_start.h"
#include "support/run_event.h"
#include "support/text.h"

namespace wrenfall::monitor {
namespace {

namespace fs = std::filesystem;

// After the handler's end its dumps are complete, but another program may have one open for a
// moment. The monitor waits this long for them.
constexpr std::chrono::seconds kLastSweep(2);
constexpr DWORD kLastSweepPauseMs = 20;

// A host whose handler has ended by itself is about to end as well.
constexpr std::chrono::seconds kHostEnd(1);

// A process that was ended is gone within that time.
constexpr DWORD kHandlerEndMs = 3000;

// How long a later run's start leaves a handler to finish what it is writing.
constexpr std::chrono::seconds kRetirement(30);

// The dialog is told of the program that crashed, unless the report is of another process.
HostProgram program_of(const fs::path& folder, const ProcessIdentity& host,
                       const HostProgram& program) {
  CrashData record;
  const bool is_shown = load(folder, record) && record.uploadPolicy == kPolicyDialog &&
                        record.processId == host.process_id;
  return is_shown ? program : HostProgram();
}

StartReporter reporter_starter(const MonitorOptions& options, Logger& logger) {
  const std::string& reporter = options.reporter;
  const ProcessIdentity host = options.host;
  const HostProgram program = read_host_program(host);
  return [reporter, host, program, &logger](const fs::path& folder) {
    if (reporter.empty()) {
      logger.error("Reporter not started for %s: none is set", path_to_utf8(folder).c_str());
      return false;
    }
    const uint32_t error = start_program(
        utf8_to_path(reporter), reporter_arguments(folder, program_of(folder, host, program)));
    if (error == 0) {
      logger.info("Reporter started for %s", path_to_utf8(folder).c_str());
      return true;
    }
    logger.error("Reporter not started for %s (error %u): %s", path_to_utf8(folder).c_str(), error,
                 reporter.c_str());
    return false;
  };
}

bool is_signalled(const ScopedKernelHandle& handle) {
  return handle && WaitForSingleObject(handle.get(), 0) == WAIT_OBJECT_0;
}

// Empty when the run has no events: whatever has one of their names was made by somebody else.
ScopedKernelHandle open_run_event(std::string (*name)(const ProcessIdentity&, uint32_t),
                                  const MonitorOptions& options) {
  if (options.run == kRunWithoutEvents) return {};
  return open_named_event(name(options.host, options.run));
}

unsigned long long number(const ProcessIdentity& process) { return process.process_id; }

}  // namespace

HostWatch::HostWatch(const MonitorOptions& options, Logger& logger)
    : options_(options),
      store_(utf8_to_path(options.store)),
      logger_(logger),
      host_(open_watched_process(options.host, SYNCHRONIZE)),
      up_(open_run_event(up_event_name, options)),
      successor_starts_(open_run_event(successor_starts_event_name, options)),
      successor_(open_run_event(superseded_event_name, options)),
      host_exit_(options.host),
      collector_({utf8_to_path(options.database) / kDumpsFolder, store_}, options.host, options.run,
                 options.limits, reporter_starter(options, logger), logger),
      watcher_(utf8_to_path(options.database) / kDumpsFolder, store_ / kSessionsFolder),
      frozen_hosts_(options.host, store_ / kSessionsFolder, logger) {}

template <typename Step>
HostWatch::Outlook HostWatch::run_logged(Step step) {
  try {
    const Outlook outlook = step();
    last_error_.clear();
    return outlook;
  } catch (const std::exception& error) {
    const std::string text = error_text(error);
    if (last_error_ != text) logger_.error("Looking for dumps failed: %s", text.c_str());
    last_error_ = text;
    return Outlook::kUnsettled;
  }
}

bool HostWatch::start_handler() {
  const fs::path program = application_dir() / kHandlerExecutable;
  handler_ = monitor::start_handler(program, output_.write_end());
  const DWORD error = GetLastError();
  handler_start_ = AwakeClock::now();
  if (handler_) return true;
  logger_.error("Capture handler not started (error %lu): %s", error,
                path_to_utf8(program).c_str());
  return false;
}

HostWatch::Outlook HostWatch::look() {
  output_.log_new_lines(logger_);
  collector_.refresh_session();
  const bool finished_soon = collector_.collect();
  const bool counting = frozen_hosts_.look(handler_.get(), collector_.has_unsettled());
  if (finished_soon) return Outlook::kFinishedSoon;
  return counting || successor_came_ || collector_.has_unsettled() ? Outlook::kUnsettled
                                                                   : Outlook::kQuiet;
}

HostWatch::Event HostWatch::wait(Outlook outlook) {
  std::vector<HANDLE> ends;
  std::vector<Event> meanings;
  const auto add = [&](HANDLE handle, Event meaning) {
    if (handle == nullptr) return;
    ends.push_back(handle);
    meanings.push_back(meaning);
  };
  // A handler ends with its host, and may have a dump to finish before.
  if (handler_) {
    add(handler_.get(), Event::kHandlerEnded);
  } else {
    add(host_.get(), Event::kHostEnded);
  }
  if (!successor_came_) add(successor_.get(), Event::kSuccessor);
  const auto ended = watcher_.wait(outlook, ends);
  return ended ? meanings[*ended] : Event::kChange;
}

void HostWatch::watch() {
  watcher_.arm();
  Outlook outlook = run_logged([this] { return look(); });
  run_logged([this] {
    collector_.finish_half_made_folders();
    collector_.apply_retention();
    return Outlook::kQuiet;
  });
  for (bool over = false; !over;) {
    const Event event = wait(outlook);
    if (event == Event::kHostEnded) break;
    if (event == Event::kHandlerEnded && !after_handler_end()) break;
    if (event == Event::kSuccessor) successor_came_ = AwakeClock::now();
    watcher_.arm();
    outlook = run_logged([this] { return look(); });
    const bool retires = successor_came_ && (outlook != Outlook::kFinishedSoon ||
                                             AwakeClock::now() - *successor_came_ > kRetirement);
    over = retires || is_handler_stuck();
  }
  end_handler();
  take_last_dumps();
}

bool HostWatch::is_replaced() const {
  return is_signalled(successor_) || is_signalled(successor_starts_);
}

bool HostWatch::is_handler_stuck() {
  if (!handler_ || !is_signalled(host_)) return false;
  if (!host_end_) host_end_ = AwakeClock::now();
  const auto since =
      std::chrono::duration_cast<std::chrono::seconds>(AwakeClock::now() - *host_end_);
  if (!is_stuck(since, collector_.has_unsettled())) return false;
  logger_.warn(
      "Capture handler ended by its monitor: it was still running %lld s after the end of process "
      "%llu",
      static_cast<long long>(since.count()), number(options_.host));
  return true;
}

bool HostWatch::resume_host(bool others_may_write) {
  if (others_may_write) {
    const bool was_writing = collector_.has_unsettled();
    run_logged([this] { return look(); });
    if (!was_writing || collector_.has_unsettled()) return false;
  }
  return resume_frozen_process(options_.host, true);
}

bool HostWatch::after_handler_end() {
  DWORD code = 0;
  GetExitCodeProcess(handler_.get(), &code);
  handler_exit_code_ = code;
  handler_.reset();
  HandlerEnd end;
  end.lifetime =
      std::chrono::duration_cast<std::chrono::seconds>(AwakeClock::now() - handler_start_);
  // A handler that ends with 0 was told to, by one that has taken its place.
  end.has_successor = is_signalled(successor_) || (code == 0 && is_signalled(successor_starts_));
  if (resume_host(is_replaced())) {
    logger_.warn("Process %llu resumed: its capture handler ended in the middle of a dump",
                 number(options_.host));
  }
  end.run_is_up = is_signalled(up_);
  end.host_runs = host_ && !is_signalled(host_);
  end.short_lives = short_lives_;
  short_lives_ = was_short_lived(end.lifetime) ? short_lives_ + 1 : 0;
  const AfterHandler next = monitor::after_handler_end(end);
  if (next == AfterHandler::kEnd) return false;
  if (next == AfterHandler::kStart && start_handler()) {
    logger_.warn("Capture handler ended with code %lu while process %llu runs; started again", code,
                 number(options_.host));
  } else {
    logger_.error(
        "Capture handler ended with code %lu while process %llu runs; crashes from now on are lost",
        code, number(options_.host));
  }
  return true;
}

void HostWatch::end_handler() {
  if (!handler_) return;
  TerminateProcess(handler_.get(), 0);
  WaitForSingleObject(handler_.get(), kHandlerEndMs);
  handler_.reset();
  resume_host(true);
}

void HostWatch::take_last_dumps() {
  const AwakeClock::time_point end = AwakeClock::now() + kLastSweep;
  while (run_logged([this] { return look(); }) == Outlook::kFinishedSoon &&
         AwakeClock::now() < end) {
    Sleep(kLastSweepPauseMs);
  }
  output_.log_rest(logger_);
  // The monitor of a later run knows what became of a crash, and of the host.
  if (is_replaced()) return;
  if (!collector_.has_seen_crash()) report_lost_crash();
  run_logged([this] {
    record_run_end();
    return Outlook::kQuiet;
  });
}

void HostWatch::report_lost_crash() const {
  const auto code = host_exit_.exit_code();
  if (!code) return;
  const std::string line =
      lost_crash_line(options_.host.process_id, *code, free_space(store_).value_or(0));
  if (!line.empty()) logger_.error("%s", line.c_str());
}

void HostWatch::record_run_end() const {
  if (!path_exists(store_ / kLastRunFile)) return;
  host_exit_.wait(kHostEnd);
  HostFacts facts;
  facts.exit_code = host_exit_.exit_code();
  facts.end_ms = host_exit_.end_ms();
  facts.has_crashed = collector_.has_seen_crash();
  facts.crash_code = collector_.crash_code();
  facts.crash_time = collector_.crash_time();
  facts.was_terminated = collector_.has_terminated_host();
  facts.system_ends = is_system_ending();
  if (!end_run(store_, options_.host, start_ms_, run_end(facts))) {
    logger_.warn("Could not write how process %llu ended; its next run does not know it",
                 number(options_.host));
  }
}

}  // namespace wrenfall::monitor
