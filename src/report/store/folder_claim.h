#ifndef WRENFALL_REPORT_STORE_FOLDER_CLAIM_H_
#define WRENFALL_REPORT_STORE_FOLDER_CLAIM_H_

#include <filesystem>
#include <memory>
#include <optional>

#include "support/clock.h"

namespace wrenfall {

// The right to send or to delete one report folder. At most one thread of all processes holds it at
// a time, by keeping the file "<folder>.sending" beside the folder open without sharing. The system
// deletes that file with its last handle, so a process releases its claims however it ends. Where
// the file cannot be made, as in a read-only store, every claim succeeds.
class FolderClaim {
 public:
  // Takes the claim, and waits for a holder to release it first.
  explicit FolderClaim(const std::filesystem::path& folder);
  // Takes the claim unless another thread or process holds it.
  static std::optional<FolderClaim> try_take(const std::filesystem::path& folder);
  // Waits for a holder to release it until then, and gives nothing after that.
  static std::optional<FolderClaim> take_until(const std::filesystem::path& folder,
                                               AwakeClock::time_point end);
  FolderClaim(FolderClaim&& other) noexcept;
  ~FolderClaim();

 private:
  struct Lock;
  FolderClaim();

  std::unique_ptr<Lock> lock_;
};

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_FOLDER_CLAIM_H_
