#include <wrenfall/wrenfall.h>

#include <algorithm>
#include <cstdlib>

#include "api/boundary.h"
#include "api/hang.h"
#include "api/options.h"
#include "api/resending.h"
#include "api/run_succession.h"
#include "api/state.h"
#include "backend/annotation_keys.h"
#include "backend/platform_facts.h"
#include "hang/hang_report.h"
#include "hang/window_probe.h"
#include "report/fact_annotations.h"
#include "report/store/layout.h"
#include "report/store/session_files.h"
#include "report/store/upload_policy.h"
#include "support/files.h"
#include "support/paths.h"
#include "support/text.h"
#include "support/version.h"
#include "upload/service_urls.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kAbiVersion = 1;

// Serialises init and shutdown. Recursive, so that a logging callback that calls either, against its
// contract, does not hang here. Never destroyed.
std::recursive_mutex& lifecycle_lock() {
  static std::recursive_mutex& lock = *new std::recursive_mutex;
  return lock;
}

// Used under the lifecycle lock. Never destroyed.
RunSuccession& run_succession() {
  static RunSuccession& succession = *new RunSuccession;
  return succession;
}

// However a start ends, the monitors know whose handler sees a crash.
class EndOfStart {
 public:
  EndOfStart() = default;
  ~EndOfStart() { run_succession().settle(); }
  EndOfStart(const EndOfStart&) = delete;
  EndOfStart& operator=(const EndOfStart&) = delete;
};

fs::path companion_path(const std::string& given, fs::path (*find)()) {
  return given.empty() ? find() : utf8_to_path(given);
}

// False, with an error logged, when the companion is not there.
bool check_companion(Logger& logger, const fs::path& path, const char* name) {
  if (!path.empty() && is_file(path)) return true;
  logger.error("%s not found next to the application or the library", name);
  return false;
}

// A system that lacks what the capture relies on would lose reports in ways that nobody can foresee.
bool check_system(Logger& logger) {
  if (is_system_new_enough()) return true;
  logger.error("%s is too old: Windows 10 version 1607 or Windows Server 2016 is needed",
               describe(query_platform_facts()).c_str());
  return false;
}

wrenfall_result find_companions(State& state) {
  state.monitor_path = companion_path(state.configuration.monitor_path, find_monitor_exe);
  state.reporter_path = companion_path(state.configuration.reporter_path, find_reporter_exe);
  if (!check_companion(state.logger, state.monitor_path, kMonitorExecutable)) {
    return WRENFALL_ERROR_MONITOR_NOT_FOUND;
  }
  if (!check_companion(state.logger, state.reporter_path, kReporterExecutable)) {
    return WRENFALL_ERROR_REPORTER_NOT_FOUND;
  }
  return WRENFALL_OK;
}

void collect_facts(State& state) {
  const wrenfall_options& options = state.configuration;
  state.platform_description = describe(query_platform_facts());
  CrashData& facts = state.facts;
  facts = options.facts;
  if (facts.environment.empty()) facts.environment = state.platform_description;
  state.environment.set(facts.environment);
  for (const auto& [name, value] : options.attributes) {
    if (facts.attributes.size() >= kMaxAttributes) break;
    facts.attributes[name] = value;
  }
  facts.uploadPolicy = upload_policy_text(options.upload_policy);
  facts.dumpType = dump_type_text(options.dump_type);
  facts.openSupportUrl = options.open_support_url != 0;  // not set counts as set
  // The reporter, which uses it, has a current folder of its own.
  facts.themeDir = path_to_utf8(absolute_path(utf8_to_path(options.theme_dir)));
  const uint32_t crash_type = options.crash_type_id == 0 ? 1 : options.crash_type_id;
  facts.crashTypeId = std::to_string(static_cast<int32_t>(crash_type));
  facts.sdkVersion = WRENFALL_VERSION_TEXT;
  state.process = current_process();
  for (const std::string& path : options.attachments) {
    if (state.attachments.size() >= kMaxAttachments) break;
    state.attachments.push_back(path);
  }
}

BackendConfiguration backend_configuration(State& state) {
  const wrenfall_options& options = state.configuration;
  BackendConfiguration configuration;
  configuration.store_dir = state.store_dir;
  configuration.database_dir = state.store_dir / kHandlerFolder;
  configuration.handler_path = state.monitor_path;
  configuration.reporter_path = state.reporter_path;
  configuration.protect_exception_filter = options.protect_exception_filter;
  configuration.stack_guarantee = options.stack_guarantee;
  configuration.startup_annotations = startup_annotations(
      state.facts, {state.store_dir, state.reporter_path, options.minidump_flags, state.process,
                    options.limits, run_succession().begin(state.process)});
  configuration.environment = state.facts.environment;
  configuration.logger = &state.logger;
  return configuration;
}

void publish_annotations(State& state) {
  Backend& backend = *state.backend;
  for (const FactAnnotation& fact : kFactAnnotations) {
    if (fact.when != FactAnnotation::When::kLive) continue;
    backend.set_annotation(fact.key, state.facts.*fact.field);
  }
  for (const auto& [name, value] : state.facts.attributes) {
    backend.set_annotation(annotation::kAttributePrefix + name, value);
  }
}

void start_breadcrumbs(State& state) {
  const size_t count =
      std::min<size_t>(state.configuration.breadcrumbs, breadcrumb_layout::kMaxBreadcrumbs);
  if (count > 0) state.breadcrumbs = std::make_unique<BreadcrumbRing>(count);
}

void start_watchdog(State& state) {
  const int32_t threshold = state.configuration.hang_threshold;
  const uint32_t policy = state.configuration.hang_policy;
  if (threshold <= 0) return;
  // The watchdog is destroyed before the state's other members, so the callback may use them.
  const auto on_hang = [&state, policy](const Hang& hang) {
    capture_hang(*state.backend, state.logger, policy, hang);
  };
  HangHolds holds;
  holds.pauses = &hang_pauses();
  if (state.configuration.hang_ignore_debugger) holds.debugger_attached = is_debugger_attached;
  state.watchdog = std::make_unique<Watchdog>(threshold, policy, on_hang, make_window_probe(),
                                              state.logger, std::move(holds));
  state.watchdog->start();
}

// Writes the session file of a run that may still fail to start. Unless keep() is called, removes it
// again and ends the resending.
class PendingSession {
 public:
  explicit PendingSession(State& state) : state_(state) {
    sweep_sessions(state.store_dir);
    write();
  }
  ~PendingSession() {
    if (kept_) return;
    state_.resending.end();
    state_.close_session();
  }
  PendingSession(const PendingSession&) = delete;
  PendingSession& operator=(const PendingSession&) = delete;

  // Writes the file once more: starting the handler takes a while, and should the file have been
  // removed or damaged meanwhile, reports would lack their attachments.
  void keep() {
    write();
    kept_ = true;
  }

 private:
  void write() {
    if (state_.write_session_file()) return;
    state_.logger.error("Could not write the session file %s",
                        path_to_utf8(session_file(state_.store_dir, state_.process)).c_str());
  }

  State& state_;
  bool kept_ = false;
};

wrenfall_result start(const std::shared_ptr<State>& state) {
  const CrashData& facts = state->configuration.facts;
  const bool has_store = create_folders(state->store_dir);
  state->logger.info("wrenfall %s init: %s/%s/%s", WRENFALL_VERSION_TEXT, facts.database.c_str(),
                     facts.appName.c_str(), facts.appVersion.c_str());
  if (!has_store) {
    state->logger.error("Could not create the store %s", path_to_utf8(state->store_dir).c_str());
  }
  if (!check_system(state->logger)) return WRENFALL_ERROR_HANDLER_START_FAILED;
  if (!has_service()) {
    state->logger.warn("This build has no service: reports are made, but cannot be sent");
  }
  const wrenfall_result found = find_companions(*state);
  if (found != WRENFALL_OK) return found;
  collect_facts(*state);
  PendingSession session(*state);
  const EndOfStart end_of_start;
  state->backend = make_crashpad_backend();
  // The backend installs a crash filter whose code is in this library.
  keep_library_loaded();
  const wrenfall_result started = state->backend->start(backend_configuration(*state));
  if (started != WRENFALL_OK) return started;
  run_succession().handler_is_up();
  state->facts.captureBackend = state->backend->name();
  publish_annotations(*state);
  start_breadcrumbs(*state);
  // This may wait, and the watchdog would take that for a hang.
  state->recorder.begin(state->process);
  start_watchdog(*state);
  start_resending(state);
  session.keep();
  publish_state(state);
  run_succession().confirm();
  return WRENFALL_OK;
}

wrenfall_result initialize(const wrenfall_options& options) {
  const std::lock_guard<std::recursive_mutex> lock(lifecycle_lock());
  if (peek_state() != nullptr) return WRENFALL_ERROR_ALREADY_INITIALIZED;
  const CrashData& facts = options.facts;
  if (facts.database.empty() || facts.appName.empty() || facts.appVersion.empty()) {
    return WRENFALL_ERROR_INVALID_ARGUMENT;
  }
  return start(std::make_shared<State>(options));
}

// Uploads that go on after a shutdown still use the state, but what the host gave for its callback may
// be gone by then. So the callback is detached however the shutdown ends.
class CallbackEnd {
 public:
  explicit CallbackEnd(Logger& logger) : logger_(logger) {}
  ~CallbackEnd() { logger_.detach_callback(); }
  CallbackEnd(const CallbackEnd&) = delete;
  CallbackEnd& operator=(const CallbackEnd&) = delete;

 private:
  Logger& logger_;
};

}  // namespace
}  // namespace wrenfall

using namespace wrenfall;

wrenfall_result wrenfall_init(wrenfall_options* options) {
  if (options == nullptr) return WRENFALL_ERROR_INVALID_ARGUMENT;
  const std::unique_ptr<wrenfall_options> owned(options);
  return guarded(WRENFALL_ERROR_HANDLER_START_FAILED, [&] { return initialize(*owned); });
}

void wrenfall_shutdown(void) {
  guarded(WRENFALL_ERROR_FILE, []() -> wrenfall_result {
    const std::lock_guard<std::recursive_mutex> lock(lifecycle_lock());
    const std::shared_ptr<State> state = current_state();
    if (!state) return WRENFALL_ERROR_NOT_INITIALIZED;
    publish_state(nullptr);
    const CallbackEnd callback_end(state->logger);
    state->resending.end();
    if (state->watchdog) state->watchdog->stop();
    // Uploads that go on keep the state, and with it the ring.
    if (state->backend->stop() && state->breadcrumbs) state->breadcrumbs->clear();
    state->close_session();
    if (!state->recorder.end()) {
      state->logger.warn("Could not write how this run ended; the next one does not know it");
    }
    state->logger.info("wrenfall shutdown");
    return WRENFALL_OK;
  });
}

bool wrenfall_is_initialized(void) { return peek_state() != nullptr; }

const char* wrenfall_version_string(void) { return WRENFALL_VERSION_TEXT; }

uint32_t wrenfall_abi_version(void) { return kAbiVersion; }

const char* wrenfall_get_environment(void) {
  const StateGlimpse glimpse;
  return glimpse.get() == nullptr ? nullptr : glimpse.get()->environment.get();
}

bool wrenfall_has_capability(uint32_t capability) {
  const std::shared_ptr<State> state = current_state();
  if (!state || !state->backend) return false;
  // The backend can always capture hangs, but only a watchdog notices them.
  if (capability == WRENFALL_CAPABILITY_HANG_DETECTION) return state->watchdog != nullptr;
  return state->backend->has_capability(capability);
}

void wrenfall_free(void* buffer) { std::free(buffer); }

const char* wrenfall_log_file_path(void) {
  static std::string& buffer = *new std::string;
  const wrenfall_result result =
      with_state(WRENFALL_ERROR_FILE, [](State& state) -> wrenfall_result {
        // The logger is not asked: its lock is held when the logging callback calls this function.
        buffer = path_to_utf8(state.store_dir / kLogFile);
        return WRENFALL_OK;
      });
  return result == WRENFALL_OK ? buffer.c_str() : nullptr;
}
