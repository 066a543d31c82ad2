#include "reporter/reporter_lock_win.h"

#include <cstdlib>

#include "report/store/layout.h"
#include "support/process.h"

namespace wrenfall::reporter {
namespace {

constexpr DWORD kPauseMs = 50;
constexpr int kAttempts = 10;
constexpr DWORD kMaxIdDigits = 20;

}  // namespace

StoreReporterLock::StoreReporterLock(const std::filesystem::path& store, const std::string& policy)
    : path_(store / (policy + kReporterSuffix)) {}

bool StoreReporterLock::try_take() {
  // A file that is being deleted denies access for a moment. A store that cannot be written to does
  // so for good.
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    file_.reset(CreateFileW(path_.c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ, nullptr,
                            OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE,
                            nullptr));
    if (file_) {
      const std::string id = std::to_string(current_process_id());
      DWORD written = 0;
      WriteFile(file_.get(), id.data(), static_cast<DWORD>(id.size()), &written, nullptr);
      // Not with the digits of an earlier holder, which a power failure may have left behind it.
      SetEndOfFile(file_.get());
      return true;
    }
    if (GetLastError() == ERROR_SHARING_VIOLATION) return false;
    Sleep(kPauseMs);
  }
  return true;
}

void StoreReporterLock::release() { file_.reset(); }

uint64_t StoreReporterLock::holder() {
  const ScopedFile file(CreateFileW(path_.c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  char id[kMaxIdDigits + 1] = {};
  DWORD read = 0;
  if (!file || !ReadFile(file.get(), id, kMaxIdDigits, &read, nullptr)) return 0;
  return std::strtoull(id, nullptr, 10);
}

}  // namespace wrenfall::reporter
