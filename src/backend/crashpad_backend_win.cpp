// clang-format off
#include <windows.h>
#include <client/crashpad_client.h>
#include <client/crashpad_info.h>
// clang-format on

#include <atomic>
#include <chrono>
#include <mutex>

#include "backend/annotation_keys.h"
#include "backend/annotation_table.h"
#include "backend/backend.h"
#include "backend/dump_options.h"
#include "backend/dump_thread_win.h"
#include "backend/filter_guard_win.h"
#include "backend/handler_watch_win.h"
#include "backend/scoped_annotation.h"
#include "backend/wer_module_win.h"
#include "support/files.h"
#include "support/process.h"
#include "support/system_path_win.h"
#include "support/text.h"

namespace wrenfall {
namespace {

// Of "\reports\", a UUID and ".dmp", below the database's folder.
constexpr size_t kLongestDumpName = 9 + 36 + 4;

// One capture at a time in the process, so that each dump carries its own kind. Never destroyed.
std::mutex& capture_mutex() {
  static std::mutex& mutex = *new std::mutex;
  return mutex;
}

// Why a start failed, as far as that can be found out: not every client leaves it in the last error.
std::string start_failure(const BackendConfiguration& configuration, DWORD error) {
  if (!path_exists(configuration.handler_path)) return "the file is missing";
  for (const std::filesystem::path& folder :
       {configuration.database_dir, configuration.database_dir / "reports"}) {
    if (path_exists(folder) && !is_folder(folder)) return path_to_utf8(folder) + " is not a folder";
  }
  switch (error) {
    case ERROR_FILENAME_EXCED_RANGE:
      return "its command line, which holds the facts that init was given, is too long";
    case ERROR_ACCESS_DENIED:
      return "access denied";
    case ERROR_PROCESS_ABORTED:
      return "it ended before it was ready";
    default:
      return "error " + std::to_string(error);
  }
}

// Keeps what the next dump is of for the lifetime of this object, or until that dump has come.
class HeldDump {
 public:
  HeldDump() : id_(AnnotationTable::hold_dump()) {}
  ~HeldDump() {
    if (!is_late_) AnnotationTable::release_dump(id_);
  }
  HeldDump(const HeldDump&) = delete;
  HeldDump& operator=(const HeldDump&) = delete;

  uint64_t id() const { return id_; }
  void leave_to_late_dump() { is_late_ = true; }

 private:
  const uint64_t id_;
  bool is_late_ = false;
};

// Drives the Crashpad client. The initialising thread calls start once; any thread may call the other
// operations.
class CrashpadBackend : public Backend {
 public:
  explicit CrashpadBackend(std::chrono::milliseconds dump_bound) : dump_bound_(dump_bound) {}

  const char* name() const override { return kCrashpadBackendName; }
  wrenfall_result start(const BackendConfiguration& configuration) override;
  bool stop() override;
  void set_annotation(const std::string& key, const std::string& value) override {
    AnnotationPlace unknown;
    annotations_.set(key, value, unknown);
  }
  void set_annotation_at(const std::string& key, const std::string& value,
                         AnnotationPlace& place) override {
    annotations_.set(key, value, place);
  }
  bool has_capability(uint32_t capability) const override;
  wrenfall_result capture(const std::string& report_kind) override;

 private:
  bool start_handler();
  // Called under the capture mutex.
  bool can_answer();
  bool dump(const CONTEXT& context);

  const std::chrono::milliseconds dump_bound_;
  crashpad::CrashpadClient client_;
  BackendConfiguration configuration_;
  Logger silent_;
  Logger* logger_ = &silent_;  // the host's, once there is one
  std::atomic<bool> started_{false};
  bool wer_coverage_ = false;
  AnnotationTable annotations_;
  HandlerWatch watch_;      // after start guarded by the capture mutex
  DumpThread dump_thread_;  // guarded by the capture mutex
  uint64_t held_dump_ = 0;  // the last one; guarded by the capture mutex
};

bool CrashpadBackend::start_handler() {
  // The client and its handler use these names as they are.
  const std::wstring database = system_folder(configuration_.database_dir, kLongestDumpName);
  const std::wstring program = system_path(configuration_.handler_path);
  const std::string handler = path_to_utf8(configuration_.handler_path);
  logger_->info("Starting %s for pid %llu, store %s", handler.c_str(),
                static_cast<unsigned long long>(current_process_id()),
                path_to_utf8(configuration_.store_dir).c_str());
  // The system has no query for the filter in force; replacing it is the only way to learn it.
  const LPTOP_LEVEL_EXCEPTION_FILTER previous_filter = SetUnhandledExceptionFilter(nullptr);
  SetUnhandledExceptionFilter(previous_filter);
  watch_.expect(configuration_.handler_path);
  const bool restartable = true;
  const bool asynchronous_start = false;
  // Without an upload URL the handler never sends anything itself.
  const bool started = client_.StartHandler(
      base::FilePath(program), base::FilePath(database), base::FilePath(database), "",
      configuration_.startup_annotations, {"--no-periodic-tasks", "--no-rate-limit"}, restartable,
      asynchronous_start);
  const DWORD error = GetLastError();
  if (!started) {
    // A failed start may leave a filter behind that waits for a handler that does not exist.
    SetUnhandledExceptionFilter(previous_filter);
    logger_->error("StartHandler failed for %s", handler.c_str());
    logger_->error("The capture handler did not start: %s",
                   start_failure(configuration_, error).c_str());
  }
  return started;
}

wrenfall_result CrashpadBackend::start(const BackendConfiguration& configuration) {
  if (started_) return WRENFALL_ERROR_ALREADY_INITIALIZED;
  configuration_ = configuration;
  if (configuration.logger != nullptr) logger_ = configuration.logger;
  if (configuration_.handler_path.empty()) return WRENFALL_ERROR_MONITOR_NOT_FOUND;
  if (!start_handler()) return WRENFALL_ERROR_HANDLER_START_FAILED;

  crashpad::CrashpadInfo::GetCrashpadInfo()->set_gather_indirectly_referenced_memory(
      crashpad::TriState::kDisabled, 0);
  if constexpr (!HeedsDumpType<crashpad::CrashpadClient>::value) {
    const std::string unheeded = unheeded_dump_options(configuration_.startup_annotations);
    if (!unheeded.empty()) logger_->warn("%s", unheeded.c_str());
  }
  set_annotation(annotation::kEnvironment, configuration_.environment);
  set_stack_guarantee(configuration_.stack_guarantee);
  guarantee_stack_of_this_thread();
  wer_coverage_ = register_wer_module(client_, *logger_);
  if (configuration_.protect_exception_filter) protect_exception_filter(*logger_);
  watch_.find();
  dump_thread_.prepare();
  started_.exchange(true);
  return WRENFALL_OK;
}

bool CrashpadBackend::stop() {
  started_.exchange(false);
  const std::unique_lock<std::mutex> lock(capture_mutex(), std::try_to_lock);
  if (!lock.owns_lock()) return false;
  annotations_.clear();
  return true;
}

bool CrashpadBackend::has_capability(uint32_t capability) const {
  switch (capability) {
    case WRENFALL_CAPABILITY_CRASH_CAPTURE:
    case WRENFALL_CAPABILITY_HANG_DETECTION:
    case WRENFALL_CAPABILITY_ON_DEMAND_CAPTURE:
    case WRENFALL_CAPABILITY_LIVE_METADATA:
    case WRENFALL_CAPABILITY_ATTACHMENTS:
    case WRENFALL_CAPABILITY_OUT_OF_PROCESS_CAPTURE:
      return true;
    case WRENFALL_CAPABILITY_WER_COVERAGE:
      return wer_coverage_ && !is_wer_kept_away();
    case WRENFALL_CAPABILITY_REPORTER:
      return !configuration_.reporter_path.empty();
    default:
      return false;
  }
}

bool CrashpadBackend::can_answer() {
  watch_.find();
  if (watch_.has_ended()) {
    AnnotationTable::release_dump(held_dump_);  // it can no longer come
    logger_->error("Capture failed: the capture handler has ended");
    return false;
  }
  if (dump_thread_.is_under_way()) {
    logger_->error("Capture failed: the capture handler still owes an earlier dump");
    return false;
  }
  return true;
}

bool CrashpadBackend::dump(const CONTEXT& context) {
  // A dump that comes after the bound still says what it is of.
  HeldDump held;
  held_dump_ = held.id();
  const DumpThread::Outcome outcome = dump_thread_.run(
      [context, id = held.id()] {
        crashpad::CrashpadClient::DumpWithoutCrash(context);
        AnnotationTable::release_dump(id);
      },
      watch_.processes(), dump_bound_);
  if (outcome == DumpThread::Outcome::kOverdue) held.leave_to_late_dump();
  // A client that sees the handler end may return without a dump.
  if (outcome == DumpThread::Outcome::kReturned && !watch_.has_ended()) return true;
  if (outcome == DumpThread::Outcome::kOverdue) {
    logger_->error("Capture failed: the capture handler has not answered for %lld s",
                   static_cast<long long>(
                       std::chrono::duration_cast<std::chrono::seconds>(dump_bound_).count()));
  } else if (outcome == DumpThread::Outcome::kNotStarted) {
    logger_->error("Capture failed: no thread for it");
  } else {
    logger_->error("Capture failed: the capture handler ended before the dump was written");
  }
  return false;
}

wrenfall_result CrashpadBackend::capture(const std::string& report_kind) {
  if (!started_) return WRENFALL_ERROR_NOT_INITIALIZED;
  const std::lock_guard<std::mutex> lock(capture_mutex());
  if (!started_) return WRENFALL_ERROR_NOT_INITIALIZED;
  if (!can_answer()) return WRENFALL_ERROR_HANDLER_START_FAILED;
  const ScopedAnnotation kind(*this, annotation::kReportKind, report_kind);
  // The dump names the thread that asks the handler, but shows the registers of this one. By its id
  // the monitor makes the dump name it.
  const ScopedAnnotation thread(*this, annotation::kThreadId, std::to_string(GetCurrentThreadId()));
  CONTEXT context{};
  RtlCaptureContext(&context);
  return dump(context) ? WRENFALL_OK : WRENFALL_ERROR_HANDLER_START_FAILED;
}

}  // namespace

std::unique_ptr<Backend> make_crashpad_backend(std::chrono::milliseconds dump_bound) {
  return std::make_unique<CrashpadBackend>(dump_bound);
}

}  // namespace wrenfall
