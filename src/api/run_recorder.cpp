#include "api/run_recorder.h"

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
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    // After the end the run must not begin once more.
    if (!recorded_ && !ended_ && !begin_locked(true)) return false;
    last = last_;
  }
  if (!last) return true;
  if (last->end.how == RunEnd::How::kRunning) {
    // Without the mutex: the shutdown takes it.
    last = wait_for_end(store_, *last);
    const std::lock_guard<std::mutex> lock(mutex_);
    last_ = last;
  }
  answer = {true, *last};
  return true;
}

void RunRecorder::end() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ended_ = true;
  if (!recorded_) return;
  RunEnd clean;
  clean.how = RunEnd::How::kClean;
  clean.time_ms = unix_now_ms();
  end_run(store_, process_, start_ms_, clean);
  recorded_ = false;
}

}  // namespace wrenfall
