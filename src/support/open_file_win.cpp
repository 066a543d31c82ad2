#include "support/open_file_win.h"

#include <string>

#include "support/system_function_win.h"
#include "support/system_path_win.h"

namespace wrenfall {
namespace {

constexpr DWORD kPauseMs = 50;
constexpr int kAttempts = 10;
constexpr auto kDeletePending = static_cast<LONG>(0xC0000056);
constexpr auto kAccessDenied = static_cast<LONG>(0xC0000022);

// The kernel's status of the last call that failed; 0 where the system does not tell.
LONG last_status() {
  using Function = LONG(NTAPI*)();
  const auto function = find_system_function<Function>(L"ntdll.dll", "RtlGetLastNtStatus");
  return function == nullptr ? 0 : function();
}

}  // namespace

ScopedFile open_file(const std::filesystem::path& path, DWORD access, DWORD share, DWORD how,
                     DWORD flags) {
  const std::wstring name = system_path(path);
  return ScopedFile(CreateFileW(name.c_str(), access, share, nullptr, how, flags, nullptr));
}

Hold hold_after_failure(DWORD error, LONG status) {
  const bool is_held =
      error == ERROR_SHARING_VIOLATION || error == ERROR_DELETE_PENDING || status == kDeletePending;
  return is_held ? Hold::kHeld : Hold::kImpossible;
}

Hold take_hold(const std::filesystem::path& path, DWORD share, ScopedFile& file) {
  for (int attempt = 1;; ++attempt) {
    file = open_file(path, GENERIC_WRITE | DELETE, share, OPEN_ALWAYS,
                     FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE);
    if (file) return Hold::kTaken;
    const DWORD error = GetLastError();
    const LONG status = last_status();
    const Hold hold = hold_after_failure(error, status);
    // A file that is being deleted is mostly gone a moment later. Where that is not the reason, as in a
    // read-only store, nothing changes.
    const bool is_deleted = error == ERROR_DELETE_PENDING || error == ERROR_ACCESS_DENIED;
    const bool may_change = is_deleted && status != kAccessDenied;
    if (!may_change || attempt == kAttempts) return hold;
    Sleep(kPauseMs);
  }
}

}  // namespace wrenfall
