#include "api/state.h"

#include "report/store/layout.h"
#include "report/store/session_files.h"
#include "support/paths.h"
#include "support/text.h"

namespace wrenfall {
namespace {

std::filesystem::path choose_store_dir(const wrenfall_options& options) {
  if (options.store_dir.empty())
    return default_store_dir(options.facts.appName, options.facts.appVersion);
  // Every later use, the handler's included, must mean the same folder, whatever the current
  // directory is then.
  return absolute_path(utf8_to_path(options.store_dir));
}

Logger::Callback wrap(wrenfall_log_callback callback, void* user_data) {
  if (callback == nullptr) return nullptr;
  return [callback, user_data](wrenfall_log_level level, const std::string& message) {
    callback(level, message.c_str(), user_data);
  };
}

// Never destroyed: threads of the host may call until the process ends.
Published<State>& published() {
  static Published<State>& instance = *new Published<State>;
  return instance;
}

}  // namespace

State::State(const wrenfall_options& options)
    : configuration(options),
      store_dir(choose_store_dir(options)),
      logger(store_dir / kLogFile, wrap(options.logger, options.logger_user_data)),
      pending_reports(store_dir) {}

bool State::is_published() const { return peek_state() == this; }

bool State::write_session_file() const { return write_session(store_dir, {process, attachments}); }

bool State::update_session() {
  const std::lock_guard<std::mutex> lock(session_mutex_);
  return !is_published() || write_session_file();
}

void State::close_session() {
  const std::lock_guard<std::mutex> lock(session_mutex_);
  remove_session(store_dir, process);
}

std::vector<Breadcrumb> breadcrumbs_of(const State& state) {
  return state.breadcrumbs ? state.breadcrumbs->read() : std::vector<Breadcrumb>();
}

std::shared_ptr<State> current_state() { return published().get(); }

State* peek_state() { return published().peek(); }

StateGlimpse::StateGlimpse() : Published<State>::Glimpse(published()) {}

void publish_state(std::shared_ptr<State> state) { published().publish(std::move(state)); }

}  // namespace wrenfall
