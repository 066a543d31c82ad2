#ifndef WRENFALL_COMPANIONS_REPORTER_OWNED_REPORT_H_
#define WRENFALL_COMPANIONS_REPORTER_OWNED_REPORT_H_

#include <wrenfall/wrenfall.h>

#include <filesystem>
#include <optional>
#include <string>

#include "report/sending.h"
#include "report/store/crash_data.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall::reporter {

// A report folder that this process owns, by the record in it, so that no other process takes it
// for pending. Its states:
//
// 1. owned: from take() on.
// 2. gone: sent, deleted by the rules of a failed attempt, or discarded.
// 3. given back: nobody's again, and pending unless an attempt has left a result in it. Also after
//    the end of this process without a word, as its owner does not run then.
//
// The host may still send the folder when it is told to by name; every step here finds out and
// leaves what is gone alone. One thread at a time; the logger is the store's, as what it is told
// outlives the folder.
class OwnedReport {
 public:
  // Waits for whoever sends the folder at this moment, then takes it over, whoever owned it.
  // Nothing when the folder holds no readable record.
  static std::optional<OwnedReport> take(const std::filesystem::path& folder, Logger& logger);
  OwnedReport(OwnedReport&& other) noexcept;
  ~OwnedReport();

  const std::filesystem::path& folder() const { return folder_; }
  const CrashData& record() const { return record_; }

  enum class Saved { kYes, kFailed, kGone };
  // Puts the user's words into the record and the folder, as far as a record may hold them.
  Saved save_answers(const std::string& email, const std::string& description);

  // One attempt, by the rules of every attempt. `http` may be null, which is a transport failure.
  // Blocks for the upload.
  SendOutcome send(HttpClient* http);

  // Deletes the folder. False when something of it is left, or somebody sends it just now.
  bool discard();

  void give_back();

 private:
  OwnedReport(std::filesystem::path folder, CrashData record, Logger& logger);
  bool write();

  std::filesystem::path folder_;  // empty once it was moved from or given back
  CrashData record_;
  Logger* logger_;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_OWNED_REPORT_H_
