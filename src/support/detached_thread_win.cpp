#include <windows.h>

#include <memory>
#include <system_error>
#include <utility>

#include "support/detached_thread.h"
#include "support/win_handle.h"

namespace wrenfall {
namespace {

using Work = std::function<void()>;

DWORD WINAPI run(void* work) noexcept {
  const std::unique_ptr<Work> owned(static_cast<Work*>(work));
  (*owned)();
  return 0;
}

}  // namespace

void start_detached_thread(Work work) {
  auto handed_over = std::make_unique<Work>(std::move(work));
  const ScopedKernelHandle thread(CreateThread(nullptr, 0, &run, handed_over.get(), 0, nullptr));
  if (!thread) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
  }
  static_cast<void>(handed_over.release());
}

}  // namespace wrenfall
