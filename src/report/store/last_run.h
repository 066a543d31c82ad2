#ifndef WRENFALL_REPORT_STORE_LAST_RUN_H_
#define WRENFALL_REPORT_STORE_LAST_RUN_H_

#include <cstdint>
#include <filesystem>
#include <optional>

#include "support/process.h"

namespace wrenfall {

// How a run of a host, from init on, ended.
struct RunEnd {
  enum class How { kRunning, kClean, kCrashed, kHung, kEnded, kUnknown };

  How how = How::kRunning;
  int64_t time_ms = 0;      // since 1970, UTC; 0 when it is not known
  uint32_t crash_code = 0;  // of a crash
  uint32_t exit_code = 0;
};

struct RunRecord {
  ProcessIdentity process;
  int64_t start_ms = 0;  // of the init
  RunEnd end;
  uint32_t crashes_earlier = 0;  // in a row, up to the run before this one

  bool is_of(const ProcessIdentity& other, int64_t start) const {
    return process == other && start_ms == start;
  }
};

// Milliseconds from init to the end, by the system's clock; 0 when the end is not known. Never negative,
// though the clock may have been set.
int64_t uptime_ms(const RunRecord& run);

// How many runs in a row, up to and with this one, crashed within a minute of their init. A run of which
// the end, or the time of its crash, is not known leaves the number as it was.
uint32_t crashes_in_a_row(const RunRecord& run);

// "last_run.json" in the store: the run that was initialized last, and the one before it. It is there
// once a host has asked for its last run, and is kept from then on.
//
//   {"before":{...},"run":{"crashesEarlier":0,"endTime":0,"exceptionCode":0,"exitCode":0,
//                          "process":"<pid>-<start>","startTime":1769900000000,"state":"running"}}
//
// A run is written by init, its end by the host at a clean shutdown and otherwise by its monitor. The
// monitor may still be at work when the next run begins; it then finds its run as the one before. Who
// changes the file holds the claim to it, and gives up after two seconds, so that a stopped process
// blocks no other one for long.
struct RunFile {
  std::optional<RunRecord> run;
  std::optional<RunRecord> before;
};

// Nothing when there is no such file; one without runs when it cannot be read.
std::optional<RunFile> read_run_file(const std::filesystem::path& store);

// Where runs are recorded, or in every case with `create`: writes that this run began, and gives the
// file as it is then. Nothing where runs are not recorded, and where the file could not be written.
std::optional<RunFile> begin_run(const std::filesystem::path& store, const RunRecord& run,
                                 bool create);

// Writes how a run ended that is not marked as ended yet: that of the process which began last, but not
// after `latest_start_ms`. A process may have had several, each with a monitor of its own. Does nothing
// where runs are not recorded, or when another run is recorded instead. False when the file could not be
// read or written for two seconds.
bool end_run(const std::filesystem::path& store, const ProcessIdentity& process,
             int64_t latest_start_ms, const RunEnd& end);

// The same run as its record is by now. While its process is gone and its monitor has not yet written how
// it ended, waits for up to two seconds if it may; then that is not known. A run whose process is there
// stays one that is running.
RunRecord wait_for_end(const std::filesystem::path& store, RunRecord run, bool may_wait);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_LAST_RUN_H_
