#include "monitor/database_use_win.h"

#include "report/store/layout.h"
#include "support/files.h"
#include "support/system_path_win.h"

namespace wrenfall::monitor {
namespace {

constexpr int kAttempts = 20;
constexpr DWORD kPauseMs = 10;

ScopedFile open_lock(const std::filesystem::path& file, DWORD sharing) {
  SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
  return ScopedFile(CreateFileW(system_path(file).c_str(), GENERIC_READ, sharing, &inheritable,
                                OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

ScopedFile use_database(const std::filesystem::path& database) {
  create_folders(database);
  const std::filesystem::path file = database / kDatabaseUseFile;
  if (const ScopedFile alone = open_lock(file, 0)) remove_file(database / kDatabaseNotesFile);
  // Another monitor may look at this moment whether it is alone.
  for (int attempt = 1;; ++attempt) {
    ScopedFile lock = open_lock(file, FILE_SHARE_READ);
    if (lock || GetLastError() != ERROR_SHARING_VIOLATION || attempt == kAttempts) return lock;
    Sleep(kPauseMs);
  }
}

}  // namespace wrenfall::monitor
