#ifndef WRENFALL_COMPANIONS_CTL_REPORT_ACTIONS_H_
#define WRENFALL_COMPANIONS_CTL_REPORT_ACTIONS_H_

#include <filesystem>
#include <functional>
#include <string>

#include "report/sending.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall::ctl {

// What became of one folder that was to be sent or discarded. After a discard only the result and
// the error of `upload` are set. `kept` is true for a folder that is no report too.
struct ActionOutcome : SendOutcome {
  std::filesystem::path folder;
  bool wanted = true;  // false when a report of "send --all" is not pending any more
};

// Sends one report folder as the library does. While another process sends it, this waits, and calls
// `waiting` first. A folder without a readable record is left as it is. With `only_pending` a folder
// that is not pending any more is left as it is too, and the outcome is not wanted. The retry rule
// and the outcome are logged to `logger`, the store's. Without a client (`http` is null) the result
// is a transport failure.
ActionOutcome send_report(HttpClient* http, const std::filesystem::path& folder, bool only_pending,
                          const std::function<void()>& waiting, Logger& logger);

// Deletes one report folder. With an empty `store` only a folder that holds a record is deleted.
ActionOutcome discard_folder(const std::filesystem::path& store,
                             const std::filesystem::path& folder);

// What a failed attempt means for the report, and what the user can do, in whole sentences.
std::string advice_after_send(const ActionOutcome& outcome);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_REPORT_ACTIONS_H_
