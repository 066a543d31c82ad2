#include "report/store/folder_claim.h"

#include <chrono>
#include <thread>

namespace wrenfall {

std::optional<FolderClaim> FolderClaim::take_until(const std::filesystem::path& folder,
                                                   AwakeClock::time_point end) {
  for (;;) {
    if (auto claim = try_take(folder)) return claim;
    if (AwakeClock::now() >= end) return std::nullopt;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

}  // namespace wrenfall
