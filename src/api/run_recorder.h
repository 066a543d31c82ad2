#ifndef WRENFALL_API_RUN_RECORDER_H_
#define WRENFALL_API_RUN_RECORDER_H_

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>

#include "report/store/last_run.h"
#include "support/clock.h"

namespace wrenfall {

// This run of the host, and what the store says of the one before it. Any thread may ask.
class RunRecorder {
 public:
  // The run begins with this object.
  explicit RunRecorder(std::filesystem::path store) : store_(std::move(store)) {}

  // Where the store records its runs, notes that this one has begun. Called by init.
  void begin(const ProcessIdentity& process);

  // The run before this one; `known` is false when there was none. From the first call on, the store
  // records its runs. May wait for the monitor of that run, see wait_for_end(). False when the file
  // could not be written.
  struct Answer {
    bool known = false;
    RunRecord run;
  };
  bool ask(Answer& answer);

  // This run ended as the host wanted it. Called by shutdown. False when that could not be written.
  bool end();

 private:
  bool begin_locked(bool create);

  const std::filesystem::path store_;
  const int64_t start_ms_ = unix_now_ms();
  std::mutex mutex_;
  // Guarded by mutex_.
  ProcessIdentity process_;
  bool recorded_ = false;
  bool ended_ = false;
  bool has_waited_ = false;
  std::optional<RunRecord> last_;
};

}  // namespace wrenfall

#endif  // WRENFALL_API_RUN_RECORDER_H_
