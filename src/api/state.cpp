#include "api/state.h"

#include <atomic>

#include "report/session_files.h"
#include "support/paths.h"
#include "support/text.h"

namespace wrenfall {
namespace {

std::filesystem::path choose_store_dir(const wrenfall_options& options) {
  if (options.store_dir.empty()) return default_store_dir(options.application, options.version);
  std::filesystem::path folder = utf8_to_path(options.store_dir);
  if (folder.is_absolute()) return folder;
  // Every later use, the handler's too, must mean the same folder, whatever the current directory
  // is then.
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(folder, error);
  return error ? folder : absolute;
}

Logger::Callback wrap(wrenfall_log_callback callback, void* user_data) {
  if (callback == nullptr) return nullptr;
  return [callback, user_data](wrenfall_log_level level, const std::string& message) {
    callback(level, message.c_str(), user_data);
  };
}

// The published state twice: shared for those who work with it, bare for queries that take no lock.
struct Published {
  std::mutex mutex;
  std::shared_ptr<State> shared;  // guarded by mutex
  std::atomic<State*> bare{nullptr};
};

// Never destroyed: threads of the host may call until the process ends.
Published& published() {
  static Published& instance = *new Published;
  return instance;
}

}  // namespace

State::State(const wrenfall_options& options)
    : configuration(options),
      store_dir(choose_store_dir(options)),
      logger(store_dir / kLogFile, wrap(options.logger, options.logger_user_data)) {}

bool State::update_session() {
  const std::lock_guard<std::mutex> lock(session_mutex_);
  return session_closed_ || write_session(store_dir, {session, attachments});
}

void State::close_session() {
  const std::lock_guard<std::mutex> lock(session_mutex_);
  session_closed_ = true;
  remove_session(store_dir, session);
}

bool State::is_session_closed() {
  const std::lock_guard<std::mutex> lock(session_mutex_);
  return session_closed_;
}

void State::set_environment(const std::string& value) {
  facts.environment = value;
  environment_text_ = environments_.insert(value).first->c_str();
}

std::shared_ptr<State> current_state() {
  Published& current = published();
  const std::lock_guard<std::mutex> lock(current.mutex);
  return current.shared;
}

State* peek_state() { return published().bare.load(); }

void publish_state(std::shared_ptr<State> state) {
  Published& current = published();
  const std::lock_guard<std::mutex> lock(current.mutex);
  current.bare = state.get();
  // The previous state, if this was its last reference, is destroyed by the caller's parameter,
  // outside the lock.
  current.shared.swap(state);
}

}  // namespace wrenfall
