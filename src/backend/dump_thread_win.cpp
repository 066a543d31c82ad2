#include "backend/dump_thread_win.h"

#include <atomic>
#include <utility>

#include "support/clock.h"

namespace wrenfall {
namespace {

// The call only asks another process and waits, so it needs no stack of the host's default size.
constexpr SIZE_T kStackBytes = 0x40000;

constexpr DWORD kPieceMs = 500;

}  // namespace

// Shared by the object and the thread; the one that ends last frees it.
struct DumpThread::Worker {
  std::function<void()> dump;
  std::atomic<bool> ending{false};
  ScopedKernelHandle wanted{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
  ScopedKernelHandle returned{CreateEventW(nullptr, TRUE, TRUE, nullptr)};
};

DWORD WINAPI DumpThread::work(void* worker) {
  const std::unique_ptr<std::shared_ptr<Worker>> share(
      static_cast<std::shared_ptr<Worker>*>(worker));
  Worker& self = **share;
  while (WaitForSingleObject(self.wanted.get(), INFINITE) == WAIT_OBJECT_0 && !self.ending) {
    self.dump();
    SetEvent(self.returned.get());
  }
  return 0;
}

DumpThread::~DumpThread() {
  if (worker_ == nullptr) return;
  worker_->ending = true;
  SetEvent(worker_->wanted.get());
}

bool DumpThread::prepare() {
  if (worker_ != nullptr) return true;
  auto worker = std::make_shared<Worker>();
  if (!worker->wanted || !worker->returned) return false;
  auto share = std::make_unique<std::shared_ptr<Worker>>(worker);
  const ScopedKernelHandle thread(CreateThread(nullptr, kStackBytes, &DumpThread::work, share.get(),
                                               STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr));
  if (!thread) return false;
  static_cast<void>(share.release());
  worker_ = std::move(worker);
  return true;
}

DumpThread::Outcome DumpThread::run(std::function<void()> dump,
                                    const std::vector<HANDLE>& processes,
                                    std::chrono::milliseconds bound) {
  if (!prepare()) return Outcome::kNotStarted;
  worker_->dump = std::move(dump);
  ResetEvent(worker_->returned.get());
  SetEvent(worker_->wanted.get());

  // When several objects are signalled, the first one counts, so the return comes first.
  std::vector<HANDLE> objects = {worker_->returned.get()};
  objects.insert(objects.end(), processes.begin(), processes.end());
  const auto count = static_cast<DWORD>(objects.size());
  DWORD result = WAIT_TIMEOUT;
  for (const std::chrono::milliseconds patience : {bound, kGrace}) {
    const auto end = AwakeClock::now() + patience;
    // In pieces, because a wait may start from the beginning when its thread was suspended meanwhile.
    while (result == WAIT_TIMEOUT && AwakeClock::now() < end) {
      result = WaitForMultipleObjects(count, objects.data(), FALSE, kPieceMs);
    }
  }
  if (result == WAIT_OBJECT_0) return Outcome::kReturned;
  return result == WAIT_TIMEOUT ? Outcome::kOverdue : Outcome::kAbandoned;
}

bool DumpThread::is_under_way() const {
  return worker_ != nullptr && WaitForSingleObject(worker_->returned.get(), 0) != WAIT_OBJECT_0;
}

}  // namespace wrenfall
