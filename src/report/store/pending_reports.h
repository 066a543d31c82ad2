#ifndef WRENFALL_REPORT_STORE_PENDING_REPORTS_H_
#define WRENFALL_REPORT_STORE_PENDING_REPORTS_H_

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace wrenfall {

// Lists the reports of a store that wait to be sent. Opening a record costs many times what listing
// its folder does, so each one is read once, and again when it was written since. A record that was
// readable then counts as readable.
class PendingReports {
 public:
  explicit PendingReports(std::filesystem::path root) : root_(std::move(root)) {}

  // The report folders that have no result yet, a readable record, and no owner that works on them;
  // the one with the oldest record first. Any thread may call it. Throws DirectoryIterationError.
  std::vector<std::filesystem::path> list();

 private:
  // What a record said when it was read.
  struct Known {
    int64_t record_time;
    uint64_t owner;
  };
  using KnownRecords = std::unordered_map<std::filesystem::path::string_type, Known>;  // by folder

  const std::filesystem::path root_;
  std::mutex mutex_;
  KnownRecords known_;  // of the last listing; guarded by mutex_
};

// The pending reports of a store that wait for the user's answer, by the consent that is kept there;
// that of the newest crash first. Throws DirectoryIterationError.
std::vector<std::filesystem::path> reports_to_ask_about(const std::filesystem::path& store);

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_PENDING_REPORTS_H_
