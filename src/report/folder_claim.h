#ifndef WRENFALL_REPORT_FOLDER_CLAIM_H_
#define WRENFALL_REPORT_FOLDER_CLAIM_H_

#include <filesystem>
#include <memory>

namespace wrenfall {

// The right to send one report folder. Held by at most one thread of the user's session at a time,
// across processes; the constructor waits for it. Whoever holds it dies with it: it then goes to
// the next. A thread must not claim a second folder while it holds one. Where the system cannot
// provide the claim, it is taken for granted.
class FolderClaim {
 public:
  explicit FolderClaim(const std::filesystem::path& folder);
  ~FolderClaim();
  FolderClaim(const FolderClaim&) = delete;
  FolderClaim& operator=(const FolderClaim&) = delete;

 private:
  struct Lock;
  std::unique_ptr<Lock> lock_;
};

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_FOLDER_CLAIM_H_
