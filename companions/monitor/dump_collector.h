#ifndef WRENFALL_COMPANIONS_MONITOR_DUMP_COLLECTOR_H_
#define WRENFALL_COMPANIONS_MONITOR_DUMP_COLLECTOR_H_

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "minidump/minidump_reader.h"
#include "monitor/claimed_dump.h"
#include "monitor/session_memory.h"
#include "report/store/crash_data.h"
#include "support/logger.h"
#include "support/process.h"

namespace wrenfall::monitor {

// Starts the reporter on a report folder; false, with an error logged, when it cannot be started.
using StartReporter = std::function<bool(const std::filesystem::path& folder)>;

// Finds the dumps that are this monitor's to report, makes report folders of them and hands those
// on as their policy says. Each dump is decided on once; a dump that stays where it is costs one
// look and at most one line in the log. Used by one thread. The operations throw
// DirectoryIterationError, and filesystem_error when a file cannot be removed.
class DumpCollector {
 public:
  struct Places {
    std::filesystem::path reports;  // where the handler writes the dumps
    std::filesystem::path store;
  };

  // The logger outlives the collector.
  DumpCollector(Places places, const ProcessIdentity& session, StartReporter start_reporter,
                Logger& logger);

  // Finishes the report folders that a killed monitor left half-made.
  void finish_half_made_folders();

  // Looks through the dumps and takes those of the own session. The first look takes those of
  // processes that are gone as well, whose monitors are gone too. True when a dump is there that
  // cannot be opened yet.
  bool collect();

  // Whether a dump of the own session's crash has come.
  bool has_seen_crash() const { return has_seen_crash_; }

  // Reads what the watched process tells of itself.
  void refresh_session() { memory_.refresh(); }

 private:
  using Clock = std::chrono::steady_clock;

  // A dump in the reports folder.
  struct Note {
    Clock::time_point first_seen;
    bool adoptable = false;  // was there at the first look
    bool settled = false;    // nothing more to do about it
    bool told = false;       // the log says that it is in use
  };

  bool settle(const std::filesystem::path& file, bool adoptable);
  bool is_for_us(const ProcessIdentity& session, bool adoptable) const;
  bool is_own(const ProcessIdentity& session) const;
  void finish_half_made_folder(const std::filesystem::path& folder);
  void finish(const std::filesystem::path& folder, ClaimedDump& dump,
              const minidump::DumpFacts& facts, const std::string& report_id, bool may_terminate);
  std::vector<std::string> attachments_of(const ProcessIdentity& session);
  void terminate(const ProcessIdentity& session);
  void start_reporter_or_release(const std::filesystem::path& folder, CrashData record);

  const Places places_;
  const ProcessIdentity session_;
  const StartReporter start_reporter_;
  Logger& logger_;
  const std::string architecture_;
  const std::string os_version_;
  SessionMemory memory_;
  std::map<std::filesystem::path, Note> notes_;
  bool first_look_ = true;
  bool keeps_sessions_ = true;
  bool has_seen_crash_ = false;
};

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_DUMP_COLLECTOR_H_
