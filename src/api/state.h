#ifndef WRENFALL_API_STATE_H_
#define WRENFALL_API_STATE_H_

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "api/environment_text.h"
#include "api/one_at_work.h"
#include "api/options.h"
#include "api/pausing_thread.h"
#include "api/published.h"
#include "api/run_recorder.h"
#include "backend/backend.h"
#include "backend/breadcrumb_ring.h"
#include "hang/watchdog.h"
#include "report/store/crash_data.h"
#include "report/store/pending_reports.h"
#include "support/logger.h"
#include "support/process.h"

namespace wrenfall {

inline constexpr size_t kMaxAttributes = 64;

// Everything that belongs to an initialized library. Init makes it and publishes it as its last
// step; shutdown withdraws it as its first step. It is destroyed when the last call that uses it
// has ended.
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
  ProcessIdentity process;
  std::unique_ptr<Backend> backend;

  // Hold it while changing the members below, and while passing the change to the backend.
  std::recursive_mutex metadata_lock;
  // What every report of this process says, whichever program makes it. Guarded by metadata_lock.
  CrashData facts;
  std::vector<std::string> attachments;  // paths; guarded by metadata_lock
  EnvironmentText environment;           // set under metadata_lock, read without
  // The attributes of `facts` that were set since init, so that one look-up finds all that setting
  // one again needs. Guarded by metadata_lock.
  struct Attribute {
    std::string* value;  // in `facts`
    std::string key;     // as a dump calls it
    AnnotationPlace place;
  };
  std::unordered_map<std::string, Attribute> attributes;
  std::string attribute_name;  // the one that is looked up; a member so that this allocates nothing

  PendingReports pending_reports;

  RunRecorder recorder{store_dir};

  // Null when breadcrumbs are off. Constant after init.
  std::unique_ptr<BreadcrumbRing> breadcrumbs;

  // Which thread sends the pending reports of this state.
  OneAtWork pending_sender;

  // Sends kept reports again when they are due; only started with resending on. Ended by shutdown.
  PausingThread resending;

  // Whether this state is the published one: false from the first step of shutdown on.
  bool is_published() const;

  // Writes the session file with the present attachments: false when that fails.
  bool write_session_file() const;
  // The same while the state is published. Under metadata_lock.
  bool update_session();
  // Removes the session file for good: after the state was withdrawn, or when it is not to be
  // published. Takes no other lock, so that it never waits for a post.
  void close_session();

 private:
  // Held by an update for its check and its write, and by the removal, so that no update brings the
  // file back after the removal.
  std::mutex session_mutex_;

 public:
  // Null unless hang detection is on. Constant after init. Declared last and so destroyed first,
  // because its thread uses the other members.
  std::unique_ptr<Watchdog> watchdog;
};

// The breadcrumbs of this moment, for a host-made report.
std::vector<Breadcrumb> breadcrumbs_of(const State& state);

// The published state, kept alive by the caller's reference; null when the library is not
// initialized. Takes no lock.
std::shared_ptr<State> current_state();

// The same as a bare pointer, which is valid until shutdown only.
State* peek_state();

// The published state for a moment: see Published::Glimpse.
class StateGlimpse : public Published<State>::Glimpse {
 public:
  StateGlimpse();
};

// Null withdraws. Called by one thread at a time. Waits for threads that are taking a reference to
// the previous state.
void publish_state(std::shared_ptr<State> state);

}  // namespace wrenfall

#endif  // WRENFALL_API_STATE_H_
