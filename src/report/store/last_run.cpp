#include "report/store/last_run.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <limits>
#include <string>
#include <thread>
#include <utility>

#include "report/store/folder_claim.h"
#include "report/store/json_fields.h"
#include "report/store/layout.h"
#include "support/clock.h"
#include "support/files.h"
#include "support/json_text.h"

namespace wrenfall {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr int64_t kEarlyCrashMs = 60000;
constexpr std::chrono::seconds kPatience(2);
constexpr std::chrono::milliseconds kPause(50);
constexpr uint64_t kMaxFileBytes = uint64_t{1} << 16;

// By RunEnd::How.
constexpr const char* kStates[] = {"running", "clean", "crashed", "hung", "ended", "unknown"};

RunEnd::How how_of(const std::string& state) {
  const auto* const found = std::find(std::begin(kStates), std::end(kStates), state);
  return found == std::end(kStates) ? RunEnd::How::kUnknown
                                    : static_cast<RunEnd::How>(found - std::begin(kStates));
}

// Whether the condition came true in time.
template <typename Condition>
bool wait_until(Condition condition, AwakeClock::time_point end = AwakeClock::now() + kPatience) {
  while (!condition()) {
    if (AwakeClock::now() >= end) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

// The right to change the file, once it can be read: another program may hold it for a moment, and what it
// says must not get lost. Nothing when that takes too long.
std::optional<FolderClaim> take_readable(const fs::path& store) {
  const AwakeClock::time_point end = AwakeClock::now() + kPatience;
  auto turn = FolderClaim::take_until(store / kLastRunFile, end);
  const auto is_free = [&] { return !is_held_file(store / kLastRunFile, kMaxFileBytes); };
  if (turn && !wait_until(is_free, end)) turn.reset();
  return turn;
}

uint32_t small(int64_t number) {
  return static_cast<uint32_t>(
      std::clamp<int64_t>(number, 0, std::numeric_limits<uint32_t>::max()));
}

json to_json(const RunRecord& run) {
  return {{"process", run.process.text()},
          {"startTime", run.start_ms},
          {"state", kStates[static_cast<size_t>(run.end.how)]},
          {"endTime", run.end.time_ms},
          {"exceptionCode", run.end.crash_code},
          {"exitCode", run.end.exit_code},
          {"crashesEarlier", run.crashes_earlier}};
}

std::optional<RunRecord> run_in(const json& file, const char* key) {
  const auto object = file.find(key);
  if (object == file.end() || !object->is_object()) return std::nullopt;
  RunRecord run;
  std::string process;
  std::string state;
  int64_t crash_code = 0;
  int64_t exit_code = 0;
  int64_t crashes = 0;
  const JsonFieldReader read(*object);
  read("process", process);
  read("startTime", run.start_ms);
  read("state", state);
  read("endTime", run.end.time_ms);
  read("exceptionCode", crash_code);
  read("exitCode", exit_code);
  read("crashesEarlier", crashes);
  const auto identity = ProcessIdentity::parse(process);
  if (!identity) return std::nullopt;
  run.process = *identity;
  run.end.how = how_of(state);
  run.end.crash_code = small(crash_code);
  run.end.exit_code = small(exit_code);
  run.crashes_earlier = small(crashes);
  return run;
}

bool write_run_file(const fs::path& store, const RunFile& file) {
  json object = json::object();
  if (file.run) object["run"] = to_json(*file.run);
  if (file.before) object["before"] = to_json(*file.before);
  return write_file_atomic(store / kLastRunFile, json_text(object));
}

bool may_end(const std::optional<RunRecord>& run, const ProcessIdentity& process,
             int64_t latest_start_ms) {
  return run && run->process == process && run->start_ms <= latest_start_ms;
}

// A host that outlives its handler, which makes the end unknown, may still end cleanly.
bool may_follow(RunEnd::How written, RunEnd::How next) {
  return written == RunEnd::How::kRunning ||
         (written == RunEnd::How::kUnknown && next == RunEnd::How::kClean);
}

}  // namespace

int64_t uptime_ms(const RunRecord& run) {
  return run.end.time_ms == 0 ? 0 : std::max<int64_t>(0, run.end.time_ms - run.start_ms);
}

uint32_t crashes_in_a_row(const RunRecord& run) {
  switch (run.end.how) {
    case RunEnd::How::kRunning:
    case RunEnd::How::kUnknown:
      return run.crashes_earlier;
    case RunEnd::How::kCrashed:
      if (run.end.time_ms == 0) return run.crashes_earlier;
      return uptime_ms(run) <= kEarlyCrashMs ? small(int64_t{run.crashes_earlier} + 1) : 0;
    default:
      return 0;
  }
}

std::optional<RunFile> read_run_file(const fs::path& store) {
  const fs::path path = store / kLastRunFile;
  if (!path_exists(path)) return std::nullopt;
  RunFile file;
  std::string text;
  if (!read_file(path, text, kMaxFileBytes)) return file;
  const json object = parse_json(text);
  if (!object.is_object()) return file;
  file.run = run_in(object, "run");
  file.before = run_in(object, "before");
  return file;
}

std::optional<RunFile> begin_run(const fs::path& store, const RunRecord& run, bool create) {
  if (!create && !path_exists(store / kLastRunFile)) return std::nullopt;
  const auto turn = take_readable(store);
  if (!turn) return std::nullopt;
  const auto old = read_run_file(store);
  RunFile file;
  file.run = run;
  if (old) file.before = old->run;
  if (old && !old->run) {
    // The file is damaged, as after a power failure.
    file.before.emplace();
    file.before->end.how = RunEnd::How::kUnknown;
  }
  if (file.before) file.run->crashes_earlier = crashes_in_a_row(*file.before);
  if (!write_run_file(store, file)) return std::nullopt;
  return file;
}

bool end_run(const fs::path& store, const ProcessIdentity& process, int64_t latest_start_ms,
             const RunEnd& end) {
  if (!path_exists(store / kLastRunFile)) return true;
  const auto turn = take_readable(store);
  if (!turn) return false;
  auto file = read_run_file(store);
  if (!file) return true;
  std::optional<RunRecord>& run =
      may_end(file->run, process, latest_start_ms) ? file->run : file->before;
  if (!may_end(run, process, latest_start_ms) || !may_follow(run->end.how, end.how)) {
    return true;
  }
  run->end = end;
  // The time of a crash is an estimate where no dump of it came.
  if (end.time_ms != 0) run->end.time_ms = std::max(end.time_ms, run->start_ms);
  // The run after it began before this was known.
  if (&run == &file->before && file->run) file->run->crashes_earlier = crashes_in_a_row(*run);
  return write_run_file(store, *file);
}

RunRecord wait_for_end(const fs::path& store, RunRecord run, bool may_wait) {
  const auto now = AwakeClock::now();
  const auto is_ended = [&] {
    const auto file = read_run_file(store);
    for (const auto& one : {file ? file->run : std::nullopt, file ? file->before : std::nullopt}) {
      if (one && one->is_of(run.process, run.start_ms)) run = *one;
    }
    return run.end.how != RunEnd::How::kRunning || is_process_running(run.process.process_id);
  };
  if (!wait_until(is_ended, may_wait ? now + kPatience : now)) run.end.how = RunEnd::How::kUnknown;
  return run;
}

}  // namespace wrenfall
