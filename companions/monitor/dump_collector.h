#ifndef WRENFALL_COMPANIONS_MONITOR_DUMP_COLLECTOR_H_
#define WRENFALL_COMPANIONS_MONITOR_DUMP_COLLECTOR_H_

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "backend/platform_facts.h"
#include "minidump/minidump_reader.h"
#include "monitor/claimed_dump.h"
#include "monitor/record_from_annotations.h"
#include "monitor/session_memory.h"
#include "monitor/watched_process.h"
#include "report/store/crash_data.h"
#include "report/store/store_limits.h"
#include "support/clock.h"
#include "support/logger.h"
#include "support/process.h"

namespace wrenfall::monitor {

// Starts the reporter on a report folder; false, with an error logged, when it cannot be started.
using StartReporter = std::function<bool(const std::filesystem::path& folder)>;

// Whether a debugger is attached to a process that runs; nothing when that cannot be found out.
using DebuggerQuery = std::function<std::optional<bool>(const ProcessIdentity& process)>;

// Waits for the end of a process that is about to end.
using EndWait = std::function<void(const ProcessIdentity& process)>;

// For at most two seconds.
void wait_briefly_for_end(const ProcessIdentity& process);

// Finds the dumps that this monitor has to report, turns each into a report folder, and starts the
// reporter on it when the policy says so. Each dump is decided on once; a dump that stays where it is
// is read once and costs at most one line in the log. Used by one thread. The operations throw
// DirectoryIterationError, and filesystem_error when a file cannot be removed.
class DumpCollector {
 public:
  struct Places {
    std::filesystem::path reports;  // where the handler writes the dumps
    std::filesystem::path store;
  };

  // `host` is the watched process, `run` the one of its runs that this monitor belongs to. The logger
  // outlives the collector.
  DumpCollector(Places places, const ProcessIdentity& host, uint32_t run, const StoreLimits& limits,
                StartReporter start_reporter, Logger& logger,
                DebuggerQuery is_debugged = is_under_debugger,
                EndWait wait_for_end = wait_briefly_for_end);

  // Finishes the report folders that a killed monitor left half-made.
  void finish_half_made_folders();

  // Removes reports until the store is within the host's limits. Done after each report that is made,
  // too. A failure is logged.
  void apply_retention();

  // Looks through the dumps and takes those of the host, except those of its later runs, which have a
  // monitor of their own. The first look also takes those of processes that have ended, because their
  // monitors have ended too. True when there is a dump that cannot be opened yet.
  bool collect();

  // Whether a dump may still be under way: the last look left one that could not be opened, and that is
  // not so old that something else must hold it.
  bool has_unsettled() const;

  // Whether a dump of the host's crash has come, also of one in a later run.
  bool has_seen_crash() const { return has_seen_crash_; }
  // The exception's code in that dump.
  uint32_t crash_code() const { return crash_code_; }
  // When it was taken, in seconds since 1970; 0 when the dump does not say.
  uint32_t crash_time() const { return crash_time_; }

  // Whether the host was ended because of a hang.
  bool has_terminated_host() const { return has_terminated_host_; }

  // Reads the host's session file again.
  void refresh_session() { memory_.refresh(); }

 private:
  using Clock = AwakeClock;

  // A dump in the reports folder.
  struct Note {
    Clock::time_point first_seen;
    bool adoptable = false;  // was there at the first look
    bool settled = false;    // nothing more to do about it
    bool logged = false;     // that it is still in use
  };

  bool settle(const std::filesystem::path& file, bool adoptable);
  // Whether the dump was dropped, because the user has refused reports and the host wants none then.
  bool drop_refused(const std::filesystem::path& file, ClaimedDump& dump,
                    const minidump::DumpFacts& facts);
  void make_report(const std::filesystem::path& file, ClaimedDump& dump,
                   const minidump::DumpFacts& facts);
  // False when the report was not made, or only in part.
  bool make_admitted_report(const std::filesystem::path& file, ClaimedDump& dump,
                            const minidump::DumpFacts& facts, uint64_t dropped_before);
  void drop(const std::filesystem::path& file, ClaimedDump& dump, const minidump::DumpFacts& facts);
  void remove_dropped(const std::filesystem::path& file, ClaimedDump& dump);
  bool is_for_us(const minidump::DumpFacts& facts, bool adoptable) const;
  bool is_host(const ProcessIdentity& process) const;
  // Both are false when the folder is still half made.
  bool finish_half_made_folder(const std::filesystem::path& folder);
  bool finish(const std::filesystem::path& folder, ClaimedDump& dump,
              const minidump::DumpFacts& facts, RecordContext context, bool may_terminate);
  void terminate_if_asked(const minidump::DumpFacts& facts);
  // Removes the attachment lists that an init kept for dumps of ended processes, once none of those
  // dumps needs them any more.
  void drop_kept_sessions();
  std::vector<std::string> attachments_of(const ProcessIdentity& process);
  void start_reporter_or_release(const std::filesystem::path& folder, CrashData record);

  const Places places_;
  const ProcessIdentity host_;
  const uint32_t run_;
  const StoreLimits limits_;
  const StartReporter start_reporter_;
  const DebuggerQuery is_debugged_;
  const EndWait wait_for_end_;
  Logger& logger_;
  const PlatformFacts platform_;
  SessionMemory memory_;
  std::map<std::filesystem::path, Note> notes_;
  bool first_look_ = true;
  bool keeps_sessions_ = true;
  std::optional<bool> has_half_made_;  // nothing until they were looked for
  bool has_seen_crash_ = false;
  uint32_t crash_code_ = 0;
  uint32_t crash_time_ = 0;
  bool has_terminated_host_ = false;
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_DUMP_COLLECTOR_H_
