#include <windows.h>

#include <string>

#include "report/store/folder_claim.h"
#include "report/store/layout.h"
#include "support/open_file_win.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

constexpr DWORD kPollMs = 50;

// The folder under the one name that the file system has for it, whatever short name, case, link or
// substituted drive the caller named it by. The given path where there is no such folder.
std::wstring final_path(const fs::path& folder) {
  const ScopedFile handle =
      open_file(folder, 0, kShareAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
  if (handle) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
      const DWORD length = GetFinalPathNameByHandleW(
          handle.get(), path.data(), static_cast<DWORD>(path.size()), FILE_NAME_NORMALIZED);
      if (length == 0) break;
      const bool fits = length < path.size();
      path.resize(length);
      if (fits) return path;
    }
  }
  return folder.has_filename() ? folder.native() : folder.parent_path().native();
}

std::wstring claim_path(const fs::path& folder) { return claim_file(final_path(folder)).native(); }

}  // namespace

struct FolderClaim::Lock {
  ScopedFile file;

  // False while somebody else holds the claim. Where no claim file can be made the claim counts as
  // taken.
  bool take(const std::wstring& path) { return take_hold(path, 0, file) != Hold::kHeld; }
};

FolderClaim::FolderClaim() : lock_(std::make_unique<Lock>()) {}

FolderClaim::FolderClaim(const fs::path& folder) : FolderClaim() {
  const std::wstring path = claim_path(folder);
  while (!lock_->take(path)) Sleep(kPollMs);
}

std::optional<FolderClaim> FolderClaim::try_take(const fs::path& folder) {
  FolderClaim claim;
  if (!claim.lock_->take(claim_path(folder))) return std::nullopt;
  return claim;
}

FolderClaim::FolderClaim(FolderClaim&& other) noexcept = default;

FolderClaim::~FolderClaim() = default;

}  // namespace wrenfall
