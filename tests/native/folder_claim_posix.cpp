#include "report/store/folder_claim.h"

#include <condition_variable>
#include <mutex>
#include <set>

#include "support/paths.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// What this process's threads have claimed: no test has the store to share with another process.
std::mutex claims_mutex;
std::condition_variable claims_changed;
std::set<fs::path> claims;

}  // namespace

struct FolderClaim::Lock {
  fs::path folder;

  ~Lock() {
    const std::lock_guard<std::mutex> lock(claims_mutex);
    claims.erase(folder);
    claims_changed.notify_all();
  }
};

FolderClaim::FolderClaim() = default;

FolderClaim::FolderClaim(const fs::path& folder) {
  std::unique_lock<std::mutex> lock(claims_mutex);
  const fs::path claimed = plain_path(folder);
  claims_changed.wait(lock, [&claimed] { return claims.insert(claimed).second; });
  lock_.reset(new Lock{claimed});
}

std::optional<FolderClaim> FolderClaim::try_take(const fs::path& folder) {
  const std::lock_guard<std::mutex> lock(claims_mutex);
  const fs::path claimed = plain_path(folder);
  if (!claims.insert(claimed).second) return std::nullopt;
  FolderClaim claim;
  claim.lock_.reset(new Lock{claimed});
  return claim;
}

FolderClaim::FolderClaim(FolderClaim&& other) noexcept = default;

FolderClaim::~FolderClaim() = default;

}  // namespace wrenfall
