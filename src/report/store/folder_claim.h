#ifndef WRENFALL_REPORT_STORE_FOLDER_CLAIM_H_
#define WRENFALL_REPORT_STORE_FOLDER_CLAIM_H_

#include <filesystem>
#include <memory>
#include <optional>

namespace wrenfall {

// The right to send or to delete one report folder, held by at most one thread at a time, across
// processes. Held through the file "<folder>.sending" beside the folder, which is open without
// sharing and which the system deletes with its last handle: a process that ends, however, releases
// its claims. Where no such file can be made, the claim is taken for granted.
class FolderClaim {
 public:
  // Takes the claim, and waits for a holder to release it first.
  explicit FolderClaim(const std::filesystem::path& folder);
  // Takes the claim unless another thread or process holds it.
  static std::optional<FolderClaim> try_take(const std::filesystem::path& folder);
  FolderClaim(FolderClaim&& other) noexcept;
  ~FolderClaim();

 private:
  struct Lock;
  FolderClaim();

  std::unique_ptr<Lock> lock_;
};

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_FOLDER_CLAIM_H_
