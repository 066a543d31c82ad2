#ifndef WRENFALL_COMPANIONS_REPORTER_REPORTER_LOCK_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_REPORTER_LOCK_WIN_H_

#include <windows.h>

#include <filesystem>
#include <string>

#include "reporter/report_queue.h"
#include "support/win_handle.h"

namespace wrenfall::reporter {

// The lock as a file in the store, which the holder keeps open and which others can only read. It
// holds the holder's process id. The system deletes it when the holder closes it or ends. Where no
// such file can be created, this process counts as the holder.
class StoreReporterLock : public ReporterLock {
 public:
  StoreReporterLock(const std::filesystem::path& store, const std::string& policy);

  bool try_take() override;
  void release() override;
  uint64_t holder() override;

 private:
  const std::filesystem::path path_;
  ScopedFile file_;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_REPORTER_LOCK_WIN_H_
