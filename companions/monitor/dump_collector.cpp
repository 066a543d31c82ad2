#include "monitor/dump_collector.h"

#include <algorithm>
#include <utility>

#include "common/ui_language.h"
#include "monitor/record_from_annotations.h"
#include "monitor/report_folder.h"
#include "report/store/consent.h"
#include "report/store/folder_claim.h"
#include "report/store/layout.h"
#include "report/store/report_files.h"
#include "report/store/report_limit.h"
#include "report/store/report_store.h"
#include "report/store/retry_file.h"
#include "report/store/store_pruning.h"
#include "support/clock.h"
#include "support/files.h"
#include "support/run_event.h"
#include "support/text.h"

namespace wrenfall::monitor {

namespace fs = std::filesystem;

namespace {

// A folder whose dump is younger is left alone. A working monitor claims the dump, so this only
// covers the moments in which it holds no claim.
constexpr std::chrono::seconds kHalfMadeAge(60);

// For how long a dump that cannot be opened is checked often. Writing a full-memory dump takes a
// while.
constexpr std::chrono::seconds kBusyPatience(30);

// A dump that cannot be opened for longer is not being written any more.
constexpr std::chrono::minutes kLongestDump(10);

// A crashed host ends once its dump is written. Attachments that it holds open without sharing can only
// be copied after that.
constexpr std::chrono::milliseconds kHostEnd(2000);

// Gives an unusable dump a name under which no monitor looks at it again, and returns that.
fs::path set_aside(ClaimedDump& dump, const fs::path& file) {
  fs::path aside = file;
  aside += kDamagedSuffix;
  return dump.move_to(aside) ? aside : file;
}

// Half a dump is of no use, and would keep a full disk full. Nobody is writing it any more, or it could
// not have been claimed.
void remove_half_dump(ClaimedDump& dump, const fs::path& file, Logger& logger) {
  dump.release();
  logger.error(
      remove_file(file) ? "Dump cut short, removed: %s" : "Dump cut short, not removed: %s",
      path_to_utf8(file).c_str());
}

// The facts of a readable dump that names its process. Otherwise nothing, with an error logged; a
// dump that is damaged, or that names no process, is set aside, so that it is read once only, and one
// that is cut short is removed.
std::optional<minidump::DumpFacts> read_facts(ClaimedDump& dump, const fs::path& file,
                                              Logger& logger) {
  bool was_read = true;
  const minidump::ReadAt read = [&](uint64_t offset, void* buffer, size_t size) {
    was_read = dump.read_at(offset, buffer, size) && was_read;
    return was_read;
  };
  auto facts = minidump::read_minidump(read, dump.size());
  if (!was_read) {
    logger.error("Dump not readable at present: %s", path_to_utf8(file).c_str());
    return std::nullopt;
  }
  if (!facts && minidump::is_cut_short(read, dump.size())) {
    remove_half_dump(dump, file, logger);
  } else if (!facts) {
    logger.error("Dump not readable, damaged or no minidump: %s",
                 path_to_utf8(set_aside(dump, file)).c_str());
  } else if (!process_of(*facts)) {
    logger.error("Dump not readable, names no session: %s",
                 path_to_utf8(set_aside(dump, file)).c_str());
    facts.reset();
  }
  return facts;
}

}  // namespace

void wait_briefly_for_end(const ProcessIdentity& process) { ProcessExit(process).wait(kHostEnd); }

DumpCollector::DumpCollector(Places places, const ProcessIdentity& host, uint32_t run,
                             const StoreLimits& limits, StartReporter start_reporter,
                             Logger& logger, DebuggerQuery is_debugged, EndWait wait_for_end)
    : places_(std::move(places)),
      host_(host),
      run_(run),
      limits_(limits),
      start_reporter_(std::move(start_reporter)),
      is_debugged_(std::move(is_debugged)),
      wait_for_end_(std::move(wait_for_end)),
      logger_(logger),
      platform_(query_platform_facts()),
      memory_(places_.store, host) {}

bool DumpCollector::is_host(const ProcessIdentity& process) const {
  return process.process_id == host_.process_id && process.start_time == host_.start_time;
}

bool DumpCollector::is_for_us(const minidump::DumpFacts& facts, bool adoptable) const {
  const ProcessIdentity process = *process_of(facts);
  if (is_host(process) && (run_ == kRunWithoutEvents || run_of(facts) <= run_)) return true;
  return adoptable && !is_still_running(process);
}

bool DumpCollector::collect() {
  bool busy = false;
  std::map<fs::path, Note> present;
  for (const fs::path& file : list_folder(places_.reports)) {
    if (file.extension() != kDumpExtension) continue;
    const auto known = notes_.find(file);
    Note note = known != notes_.end() ? known->second : Note{Clock::now(), first_look_, false};
    if (!note.settled) note.settled = settle(file, note.adoptable);
    if (!note.settled) {
      const bool patient = Clock::now() - note.first_seen < kBusyPatience;
      busy = busy || patient;
      if (!patient && !note.logged) {
        logger_.error("Dump not readable, still in use: %s", path_to_utf8(file).c_str());
        note.logged = true;
      }
    }
    present.emplace(file, note);
  }
  notes_.swap(present);
  first_look_ = false;
  drop_kept_sessions();
  return busy;
}

bool DumpCollector::has_unsettled() const {
  return std::any_of(notes_.begin(), notes_.end(), [](const auto& entry) {
    return !entry.second.settled && Clock::now() - entry.second.first_seen < kLongestDump;
  });
}

void DumpCollector::drop_kept_sessions() {
  const bool dumps_wait = std::any_of(notes_.begin(), notes_.end(), [](const auto& entry) {
    return entry.second.adoptable && !entry.second.settled;
  });
  // Half-made folders need the lists too, and are known only when they were looked for.
  if (!keeps_sessions_ || dumps_wait || has_half_made_.value_or(true)) return;
  remove_folder(places_.store / kHandlerFolder / kSessionsFolder);
  keeps_sessions_ = false;
}

bool DumpCollector::settle(const fs::path& file, bool adoptable) {
  ClaimedDump dump(file);
  if (dump.state() == ClaimedDump::State::kBusy) return false;
  if (dump.state() == ClaimedDump::State::kFailed) {
    logger_.error("Dump not readable (error %lu): %s", static_cast<unsigned long>(dump.error()),
                  path_to_utf8(file).c_str());
  }
  if (dump.state() != ClaimedDump::State::kClaimed) return true;
  const auto facts = read_facts(dump, file, logger_);
  if (!facts) return true;
  if (is_host(*process_of(*facts)) && is_crash(*facts)) {
    has_seen_crash_ = true;
    crash_code_ = facts->crash_code.value_or(0);
    crash_time_ = facts->time_stamp;
  }
  if (!is_for_us(*facts, adoptable)) return true;
  make_report(file, dump, *facts);
  return true;
}

bool DumpCollector::drop_refused(const fs::path& file, ClaimedDump& dump,
                                 const minidump::DumpFacts& facts) {
  if (!drops_reports(places_.store, limits_)) return false;
  logger_.warn("Dump dropped, the user has refused that reports are sent: process %llu",
               static_cast<unsigned long long>(process_of(facts)->process_id));
  remove_dropped(file, dump);
  return true;
}

void DumpCollector::make_report(const fs::path& file, ClaimedDump& dump,
                                const minidump::DumpFacts& facts) {
  if (drop_refused(file, dump, facts)) return terminate_if_asked(facts);
  const Admission admission = admit_report(places_.store, limits_.report_limit);
  if (!admission.admitted) {
    drop(file, dump, facts);
    terminate_if_asked(facts);
  } else if (!make_admitted_report(file, dump, facts, admission.dropped_before)) {
    give_back_dropped(places_.store, admission.dropped_before);
  }
  apply_retention();
}

bool DumpCollector::make_admitted_report(const fs::path& file, ClaimedDump& dump,
                                         const minidump::DumpFacts& facts,
                                         uint64_t dropped_before) {
  const auto folder = move_into_new_folder(places_.store, dump, logger_);
  if (!folder) return false;
  RecordContext context;
  context.crashpad_report_id = path_to_utf8(file.stem());
  context.dropped_before = dropped_before;
  if (finish(*folder, dump, facts, std::move(context), true)) return true;
  has_half_made_ = true;
  return false;
}

void DumpCollector::drop(const fs::path& file, ClaimedDump& dump,
                         const minidump::DumpFacts& facts) {
  logger_.warn("Dump dropped, more than %lu reports in %lu seconds: process %llu",
               static_cast<unsigned long>(limits_.report_limit.count),
               static_cast<unsigned long>(limits_.report_limit.seconds),
               static_cast<unsigned long long>(process_of(facts)->process_id));
  remove_dropped(file, dump);
}

void DumpCollector::remove_dropped(const fs::path& file, ClaimedDump& dump) {
  dump.release();
  if (!remove_file(file)) {
    logger_.warn("Dropped dump not deleted: %s", path_to_utf8(file).c_str());
  }
}

void DumpCollector::apply_retention() {
  if (!limits_.retention.any()) return;
  PruneRequest request;
  request.store = places_.store;
  request.limits = limits_.retention;
  request.run = host_.process_id;
  try_prune_store(request, logger_);
}

void DumpCollector::finish_half_made_folders() {
  bool left = false;
  for (const fs::path& folder : list_folder(places_.store)) {
    // Monitors make no links, and what a link leads to does not belong to the store.
    if (is_link(folder) || !is_folder(folder) || is_own_folder(folder)) continue;
    remove_stale_temporaries(folder);
    if (is_half_made(folder)) left = !finish_half_made_folder(folder) || left;
  }
  has_half_made_ = left;
  drop_kept_sessions();
}

bool DumpCollector::finish_half_made_folder(const fs::path& folder) {
  const fs::path file = folder / kReportDumpFile;
  ClaimedDump dump(file);
  if (dump.state() != ClaimedDump::State::kClaimed || dump.age() < kHalfMadeAge) return false;
  // Another monitor may have finished the folder just before the claim.
  if (path_exists(folder / kCrashDataFile)) return true;
  const auto facts = read_facts(dump, file, logger_);
  if (!facts) return true;
  if (drop_refused(file, dump, *facts)) return remove_report_folder(folder);
  RecordContext context;
  context.crashpad_report_id = facts->annotations.report_id;
  return finish(folder, dump, *facts, std::move(context), false);
}

std::vector<std::string> DumpCollector::attachments_of(const ProcessIdentity& process) {
  if (is_host(process)) {
    memory_.refresh();
    return memory_.attachments();
  }
  auto record = read_session(session_file(places_.store, process));
  if (!record) record = read_session(kept_session_file(places_.store, process));
  return record ? record->attachments : std::vector<std::string>();
}

bool DumpCollector::finish(const fs::path& folder, ClaimedDump& dump,
                           const minidump::DumpFacts& facts, RecordContext context,
                           bool may_terminate) {
  const ProcessIdentity process = *process_of(facts);
  context.now = utc_timestamp();
  context.platform = platform_;
  context.locale = ui_language();
  context.monitor_pid = current_process_id();
  // First, so that no attachment takes the name.
  if (limits_.resend) mark_for_resend(folder);
  std::function<void()> wait_for_release;
  if (is_host(process) && is_crash(facts)) {
    wait_for_release = [this] { wait_for_end_(host_); };
  }
  auto record = finish_report_folder(folder, dump, facts, std::move(context),
                                     attachments_of(process), logger_, std::move(wait_for_release));
  if (!record) return false;
  // A hang that was found late is no reason to end a process that may have recovered since.
  if (may_terminate) terminate_if_asked(facts);
  start_reporter_or_release(folder, std::move(*record));
  return true;
}

void DumpCollector::terminate_if_asked(const minidump::DumpFacts& facts) {
  const ProcessIdentity process = *process_of(facts);
  if (!is_host(process) || !asks_for_termination(facts)) return;
  // A process that has initialized the library again since is not hung any more.
  if (run_ != kRunWithoutEvents && run_of(facts) != run_) return;
  const auto pid = static_cast<unsigned long long>(process.process_id);
  const auto debugged = is_still_running(process) ? is_debugged_(process) : false;
  if (!debugged) {
    logger_.warn("Hung process %llu not ended: it cannot be asked whether a debugger is attached",
                 pid);
  } else if (*debugged) {
    logger_.info("Hung process %llu not ended: a debugger is attached", pid);
  } else if (terminate_process(process)) {
    has_terminated_host_ = true;
    logger_.info("Hung process %llu ended, as its hang policy says", pid);
  } else {
    logger_.warn("Hung process %llu not ended: it is gone or may not be ended", pid);
  }
}

void DumpCollector::start_reporter_or_release(const fs::path& folder, CrashData record) {
  if (record.uploadPolicy == kPolicyManual || start_reporter_(folder)) return;
  // Clear the owner so that the host finds the report pending. Take the claim first: saving without
  // it could recreate a folder that another process has just deleted.
  const auto claim = FolderClaim::try_take(folder);
  if (!claim || !load(folder, record)) return;
  record.ownerPid = 0;
  if (!save(folder, record)) {
    logger_.error("Report record not written: %s", path_to_utf8(folder).c_str());
  }
}

}  // namespace wrenfall::monitor
