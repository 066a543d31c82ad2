#include "reporter/send_report.h"

#include "report/delivery.h"
#include "support/files.h"
#include "support/process.h"
#include "support/text.h"

namespace wrenfall {
namespace {

// Owns a report folder for as long as it lives, by the record in it.
class ReportOwnership {
 public:
  ReportOwnership(const std::filesystem::path& folder, CrashData& record, Logger& logger)
      : folder_(folder), record_(record), logger_(logger) {
    record_.ownerPid = current_process_id();
    write();
  }
  ~ReportOwnership() {
    // Saving would make the folder anew.
    if (!path_exists(folder_ / kCrashDataFile)) return;
    record_.ownerPid = 0;
    write();
  }
  ReportOwnership(const ReportOwnership&) = delete;
  ReportOwnership& operator=(const ReportOwnership&) = delete;

 private:
  void write() {
    try {
      if (save(folder_, record_)) return;
    } catch (const std::filesystem::filesystem_error&) {
      // A left-over temporary file. The record itself is told of below.
    }
    logger_.warn("Report record not written: %s", path_to_utf8(folder_).c_str());
  }

  const std::filesystem::path& folder_;
  CrashData& record_;
  Logger& logger_;
};

}  // namespace

wrenfall_result send_report(HttpClient* http, const std::filesystem::path& folder, CrashData record,
                            Logger& logger) {
  const ReportOwnership ownership(folder, record, logger);
  const UploadResult outcome = deliver(http, folder, record, &logger);
  if (outcome.result == WRENFALL_OK) {
    logger.info("Report sent: %s (crash %lld)", path_to_utf8(folder).c_str(),
                static_cast<long long>(outcome.crashId));
  } else {
    logger.error("Report not sent: %s: %s (http %d)", path_to_utf8(folder).c_str(),
                 outcome.error.c_str(), outcome.httpStatus);
  }
  return outcome.result;
}

}  // namespace wrenfall
