#include "api/run_recorder.h"

#include <utility>

namespace wrenfall {

bool RunRecorder::begin_locked(bool create) {
  RunRecord run;
  run.process = process_;
  run.start_ms = start_ms_;
  const auto file = begin_run(store_, run, create);
  recorded_ = file.has_value();
  if (file) last_ = file->before;
  return recorded_;
}

void RunRecorder::begin(const ProcessIdentity& process) {
  const std::lock_guard<std::mutex> lock(mutex_);
  process_ = process;
  begin_locked(false);
}

bool RunRecorder::ask(Answer& answer) {
  std::optional<RunRecord> last;
  bool may_wait = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    // After the end the run must not begin once more.
    if (!recorded_ && !ended_ && !begin_locked(true)) return false;
    last = last_;
    may_wait = !std::exchange(has_waited_, true);
  }
  if (!last) return true;
  if (last->end.how == RunEnd::How::kRunning) {
    // Without the mutex: the shutdown takes it.
    last = wait_for_end(store_, *last, may_wait);
    const std::lock_guard<std::mutex> lock(mutex_);
    // A monitor that is still at work may tell more later.
    if (last->end.how != RunEnd::How::kUnknown) last_ = last;
  }
  answer = {true, *last};
  return true;
}

bool RunRecorder::end() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ended_ = true;
  if (!recorded_) return true;
  RunEnd clean;
  clean.how = RunEnd::How::kClean;
  clean.time_ms = unix_now_ms();
  recorded_ = false;
  return end_run(store_, process_, start_ms_, clean);
}

}  // namespace wrenfall
