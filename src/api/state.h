#ifndef WRENFALL_API_STATE_H_
#define WRENFALL_API_STATE_H_

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "api/options.h"
#include "backend/backend.h"
#include "hang/watchdog.h"
#include "report/report_facts.h"
#include "support/logger.h"
#include "support/process.h"

namespace wrenfall {

inline constexpr size_t kMaxAttributes = 64;
inline constexpr size_t kMaxAttachments = 24;

// Everything of an initialized library. Made by init, published as the last step of it, withdrawn
// as the first step of shutdown, and destroyed when the last call that still works with it has
// ended.
//
// Locks, in the order in which they are taken: the lifecycle lock (init and shutdown), then
// metadata_lock, then those of the backend and of the logger.
struct State : std::enable_shared_from_this<State> {
  explicit State(const wrenfall_options& options);

  // Constant after init.
  const wrenfall_options configuration;
  const std::filesystem::path store_dir;
  Logger logger;
  std::filesystem::path monitor_path;
  std::filesystem::path reporter_path;
  std::string platform_description;
  ProcessIdentity session;
  int32_t crash_type = 1;
  std::unique_ptr<Backend> backend;

  // Held by whoever changes what follows, also while the change is handed to the backend.
  std::recursive_mutex metadata_lock;
  ReportFacts facts;                     // guarded by metadata_lock
  std::vector<std::string> attachments;  // guarded by metadata_lock
  // The name of the attribute in hand, as the host and as a dump calls it. Kept for its memory, so
  // that setting an attribute again allocates nothing. Guarded by metadata_lock.
  std::string attribute_name;
  std::string attribute_key;

  // Writes the session file with the present attachments: false when that fails, and nothing once
  // it is closed. Under metadata_lock.
  bool update_session();
  // Removes the session file; it does not come back. Takes no other lock, so that it never waits
  // for a post.
  void close_session();
  bool is_session_closed() const { return session_closed_; }

  // Changes the environment among the facts. Under metadata_lock.
  void set_environment(const std::string& value);

  // The environment without a lock. Each text stays valid as long as the state: the host may still
  // hold an earlier one.
  const char* environment() const { return environment_text_; }

 private:
  std::mutex session_mutex_;
  std::atomic<bool> session_closed_{false};  // changed under session_mutex_
  std::set<std::string> environments_;       // every text so far; guarded by metadata_lock
  std::atomic<const char*> environment_text_{""};

 public:
  // Null unless hang detection is on. Constant after init. Destroyed first: its thread uses the
  // others.
  std::unique_ptr<Watchdog> watchdog;
};

// The published state, kept alive by the caller's reference; null when the library is not
// initialized. Takes no lock.
std::shared_ptr<State> current_state();

// The same without a lock and without a share in it: good until shutdown only.
State* peek_state();

// Null withdraws. Called by one thread at a time. Waits for those who are just taking a reference to
// the previous state.
void publish_state(std::shared_ptr<State> state);

}  // namespace wrenfall

#endif  // WRENFALL_API_STATE_H_
