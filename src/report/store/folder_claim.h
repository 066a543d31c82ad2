#ifndef WRENFALL_REPORT_STORE_FOLDER_CLAIM_H_
#define WRENFALL_REPORT_STORE_FOLDER_CLAIM_H_

#include <filesystem>
#include <memory>
#include <optional>

namespace wrenfall {

// What follows the folder's name in the name of the file that holds the claim.
inline constexpr char kClaimSuffix[] = ".sending";

// The right to send or to delete one report folder, held by at most one thread at a time, across
// processes. Held through a file "<folder>.sending" beside the folder, which is open without
// sharing and goes with its last handle: whoever ends without releasing the claim releases it so.
// Where no such file can be made the claim is taken for granted.
class FolderClaim {
 public:
  // Waits until nobody else holds the claim.
  explicit FolderClaim(const std::filesystem::path& folder);
  // Nothing while somebody else holds it.
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
