#include "api/state.h"

#include <atomic>
#include <thread>

#include "report/store/session_files.h"
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

// The published state: owned here, and bare for those who look for it without a lock.
struct Published {
  std::shared_ptr<State> owned;  // used by the publishing thread alone
  std::atomic<State*> bare{nullptr};
  // How many threads are between reading `bare` and having a share in what they read.
  std::atomic<int> readers{0};
};

class Reader {
 public:
  explicit Reader(std::atomic<int>& count) : count_(count) { ++count_; }
  ~Reader() { --count_; }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

 private:
  std::atomic<int>& count_;
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

void State::set_environment(const std::string& value) {
  facts.environment = value;
  environment_text_ = environments_.insert(value).first->c_str();
}

std::shared_ptr<State> current_state() {
  Published& current = published();
  const Reader reader(current.readers);
  State* const state = current.bare.load();
  return state == nullptr ? nullptr : state->shared_from_this();
}

State* peek_state() { return published().bare.load(); }

void publish_state(std::shared_ptr<State> state) {
  Published& current = published();
  current.bare = state.get();
  while (current.readers != 0) std::this_thread::yield();
  // The previous state, if this was its last reference, is destroyed by the caller's parameter.
  current.owned.swap(state);
}

}  // namespace wrenfall
