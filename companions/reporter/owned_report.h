#ifndef WRENFALL_COMPANIONS_REPORTER_OWNED_REPORT_H_
#define WRENFALL_COMPANIONS_REPORTER_OWNED_REPORT_H_

#include <wrenfall/wrenfall.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "report/sending.h"
#include "report/store/crash_data.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall::reporter {

// A report folder that this process owns: the record names it as the owner, so that no other process
// takes the report for pending. The folder's states:
//
// 1. owned: from take() on.
// 2. gone: sent, deleted by the retry rule, or discarded.
// 3. given back: nobody owns it, and it is pending unless an attempt has left a result in it. When
//    this process is killed, the folder is in the same state, because its owner does not run then.
//
// The host may still send the folder by its name. So every step here checks whether the folder is
// still there, and does nothing if it is gone. Used by one thread at a time. The logger writes to
// the store's log, because the folder's own log is deleted with the folder.
class OwnedReport {
 public:
  // Makes this process the folder's owner, also when another process owned it. While another process
  // sends the folder, this waits. Nothing when the folder holds no readable record or was sent, and,
  // with `only_pending`, when there has been an attempt to send it and no person is needed for the next.
  static std::optional<OwnedReport> take(const std::filesystem::path& folder, Logger& logger,
                                         bool only_pending = false);
  OwnedReport(OwnedReport&& other) noexcept;
  ~OwnedReport();

  const std::filesystem::path& folder() const { return folder_; }
  const CrashData& record() const { return record_; }

  enum class Saved { kYes, kFailed, kGone };
  // Saves the user's answers in the folder's record, cut to the lengths that a record may hold.
  Saved save_answers(const std::string& email, const std::string& description);

  // Deletes these files of the folder, which the user does not want to send. False when one of them is
  // still there. A folder that is gone stays away.
  bool leave_out(const std::vector<std::string>& names);

  // Whether the store sends anything that no person asks for.
  bool is_sent_by_itself() const;

  // Keeps in the report's store that the user wants reports sent without being asked. A failure is
  // logged; the user is then asked about the next report, too.
  void keep_consent();

  // Makes one attempt to send the folder. When the service cannot be reached, or the files cannot be
  // read, the report stays pending; otherwise the retry rule is applied. Without a client (`http` is
  // null) the result is a transport failure. `at_somebodys_word`: the user, or the host by its own
  // call, wants the report sent. `was_cancelled` is asked when the attempt has failed: whether the user
  // has called it off, so that the report is pending as before. Blocks until the upload ends.
  SendOutcome send(HttpClient* http, bool at_somebodys_word = true,
                   const std::function<bool()>& was_cancelled = {});

  enum class Discarded {
    kYes,
    kGone,      // another process has sent or deleted it
    kPartly,    // a file is still there, but the report is never sent
    kHeld,      // another process sends or deletes it at the moment
    kUnmarked,  // it is still there, and may be sent
  };
  // Deletes the folder.
  Discarded discard();

  // Clears the owner, so that the host finds the report pending.
  void give_back();

 private:
  OwnedReport(std::filesystem::path folder, CrashData record, Logger& logger);
  bool write();
  Discarded try_discard() const;

  std::filesystem::path folder_;  // empty once it was moved from or given back
  CrashData record_;
  Logger& logger_;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_OWNED_REPORT_H_
