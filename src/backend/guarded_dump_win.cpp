#include "backend/guarded_dump_win.h"

#include <utility>

namespace wrenfall {

// Shared by the caller and the thread; whoever is later frees it.
struct GuardedDump::Job {
  std::function<void()> dump;
  ScopedKernelHandle returned;
};

DWORD WINAPI GuardedDump::call(void* job) {
  const std::unique_ptr<std::shared_ptr<Job>> share(static_cast<std::shared_ptr<Job>*>(job));
  (*share)->dump();
  SetEvent((*share)->returned.get());
  return 0;
}

GuardedDump::Outcome GuardedDump::run(std::function<void()> dump,
                                      const std::vector<HANDLE>& processes,
                                      std::chrono::milliseconds bound) {
  job_ = std::make_shared<Job>();
  job_->dump = std::move(dump);
  job_->returned.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  auto share = std::make_unique<std::shared_ptr<Job>>(job_);
  const ScopedKernelHandle thread(
      job_->returned ? CreateThread(nullptr, 0, &GuardedDump::call, share.get(), 0, nullptr)
                     : nullptr);
  if (!thread) {
    job_.reset();
    return Outcome::kNotStarted;
  }
  static_cast<void>(share.release());

  // The first of several signalled objects counts: the return.
  std::vector<HANDLE> objects = {job_->returned.get()};
  objects.insert(objects.end(), processes.begin(), processes.end());
  const auto count = static_cast<DWORD>(objects.size());
  DWORD result = WAIT_TIMEOUT;
  for (const std::chrono::milliseconds patience : {bound, kGrace}) {
    if (result != WAIT_TIMEOUT) break;
    result =
        WaitForMultipleObjects(count, objects.data(), FALSE, static_cast<DWORD>(patience.count()));
  }
  if (result == WAIT_OBJECT_0) return Outcome::kReturned;
  return result == WAIT_TIMEOUT ? Outcome::kOverdue : Outcome::kAbandoned;
}

bool GuardedDump::is_under_way() const {
  return job_ != nullptr && WaitForSingleObject(job_->returned.get(), 0) != WAIT_OBJECT_0;
}

}  // namespace wrenfall
