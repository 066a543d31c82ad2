#ifndef WRENFALL_COMPANIONS_CTL_REPORT_ACTIONS_H_
#define WRENFALL_COMPANIONS_CTL_REPORT_ACTIONS_H_

#include <filesystem>
#include <functional>
#include <string>

#include "report/store/upload_result.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall::ctl {

// What became of one folder that was to be sent or discarded.
struct ActionOutcome {
  std::filesystem::path folder;
  UploadResult upload;    // of a discard the result and the error alone
  bool attempted = true;  // false when the folder was not even tried
  bool kept = false;      // the report is still there
  bool wanted = true;     // false when others were quicker with a report that nobody named
};

// Sends one report folder in the way the library does. Waits for whoever sends it just now, of
// which `waiting` is told first. A folder without a readable record is left as it is. The retry
// rule's lines and the outcome go to `logger`, which is the store's. With `only_pending` a folder
// that is not pending any more is not wanted. `http` may be null, which is a transport failure.
ActionOutcome send_report(HttpClient* http, const std::filesystem::path& folder, bool only_pending,
                          const std::function<void()>& waiting, Logger& logger);

// Deletes one report folder. `store` may be empty: then only what holds a record is a report.
ActionOutcome discard_folder(const std::filesystem::path& store,
                             const std::filesystem::path& folder);

// What the outcome of a send that went wrong means for the report, and what can be done; a full
// sentence or two.
std::string advice_after_send(const ActionOutcome& outcome);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_REPORT_ACTIONS_H_
