#include <windows.h>

#include <cwctype>

#include "report/folder_claim.h"
#include "support/win_handle.h"

namespace wrenfall {
namespace {

// A name for the kernel object that every process derives alike from the folder: its absolute path
// without regard to case, which the file system ignores too, in a 64-bit FNV-1a hash, since names
// may be neither long nor hold backslashes.
std::wstring mutex_name(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::weakly_canonical(folder, error);
  if (error) absolute = folder;
  if (!absolute.has_filename()) absolute = absolute.parent_path();
  uint64_t hash = 0xCBF29CE484222325;
  for (const wchar_t c : absolute.native()) {
    hash = (hash ^ static_cast<uint64_t>(std::towlower(static_cast<wint_t>(c)))) * 0x100000001B3;
  }
  return L"Local\\WrenfallReport-" + std::to_wstring(hash);
}

}  // namespace

struct FolderClaim::Lock {
  ScopedKernelHandle mutex;
  bool held = false;
};

FolderClaim::FolderClaim(const std::filesystem::path& folder) : lock_(std::make_unique<Lock>()) {
  lock_->mutex.reset(CreateMutexW(nullptr, FALSE, mutex_name(folder).c_str()));
  if (!lock_->mutex) return;
  const DWORD wait = WaitForSingleObject(lock_->mutex.get(), INFINITE);
  lock_->held = wait == WAIT_OBJECT_0 || wait == WAIT_ABANDONED;
}

FolderClaim::~FolderClaim() {
  if (lock_->held) ReleaseMutex(lock_->mutex.get());
}

}  // namespace wrenfall
