#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "report/folder_claim.h"
#include "tests/native/file_descriptor_posix.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

std::string claim_file(const fs::path& folder) {
  std::error_code error;
  const fs::path absolute = fs::weakly_canonical(folder, error);
  const fs::path& path = error ? folder : absolute;
  return (path.has_filename() ? path : path.parent_path()).native() + ".sending";
}

bool is_still_named(int descriptor, const std::string& path) {
  struct stat held {};
  struct stat named {};
  return fstat(descriptor, &held) == 0 && stat(path.c_str(), &named) == 0 &&
         held.st_ino == named.st_ino;
}

}  // namespace

struct FolderClaim::Lock {
  std::string path;
  ScopedDescriptor file;

  explicit Lock(std::string claimed) : path(std::move(claimed)) {}
  ~Lock() {
    if (file) unlink(path.c_str());
  }

  // False while somebody else holds the claim.
  bool take() {
    for (;;) {
      ScopedDescriptor opened(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
      if (!opened) return true;
      if (flock(opened.get(), LOCK_EX | LOCK_NB) != 0) return false;
      // The holder before may have removed the file in the meantime.
      if (!is_still_named(opened.get(), path)) continue;
      file = std::move(opened);
      return true;
    }
  }
};

FolderClaim::FolderClaim() = default;

FolderClaim::FolderClaim(const fs::path& folder)
    : lock_(std::make_unique<Lock>(claim_file(folder))) {
  while (!lock_->take()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

std::optional<FolderClaim> FolderClaim::try_take(const fs::path& folder) {
  FolderClaim claim;
  claim.lock_ = std::make_unique<Lock>(claim_file(folder));
  if (!claim.lock_->take()) return std::nullopt;
  return claim;
}

FolderClaim::FolderClaim(FolderClaim&& other) noexcept = default;

FolderClaim::~FolderClaim() = default;

}  // namespace wrenfall
