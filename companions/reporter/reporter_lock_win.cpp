#include "reporter/reporter_lock_win.h"

#include <cstdlib>

#include "report/store/layout.h"
#include "support/open_file_win.h"
#include "support/process.h"

namespace wrenfall::reporter {
namespace {

constexpr DWORD kMaxIdDigits = 20;

}  // namespace

StoreReporterLock::StoreReporterLock(const std::filesystem::path& store, const std::string& policy)
    : path_(store / (policy + kReporterSuffix)) {}

bool StoreReporterLock::try_take() {
  const Hold hold = take_hold(path_, FILE_SHARE_READ, file_);
  if (hold == Hold::kTaken) {
    const std::string id = std::to_string(current_process_id());
    DWORD written = 0;
    WriteFile(file_.get(), id.data(), static_cast<DWORD>(id.size()), &written, nullptr);
    // Not with the digits of an earlier holder, which a power failure may have left behind it.
    SetEndOfFile(file_.get());
  }
  return hold != Hold::kHeld;
}

void StoreReporterLock::release() { file_.reset(); }

uint64_t StoreReporterLock::holder() {
  const ScopedFile file = open_file(path_, GENERIC_READ, kShareAll);
  char id[kMaxIdDigits + 1] = {};
  DWORD read = 0;
  if (!file || !ReadFile(file.get(), id, kMaxIdDigits, &read, nullptr)) return 0;
  return std::strtoull(id, nullptr, 10);
}

}  // namespace wrenfall::reporter
