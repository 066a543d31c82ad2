#ifndef WRENFALL_COMPANIONS_CTL_REPORT_ACTIONS_H_
#define WRENFALL_COMPANIONS_CTL_REPORT_ACTIONS_H_

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "report/sending.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall::ctl {

// What became of one folder that was to be sent or discarded. After a discard only the result and
// the error of `upload` are set. `kept` is true for a folder that is no report too.
struct ActionOutcome : SendOutcome {
  std::filesystem::path folder;
  bool wanted = true;  // false when a report of "send --all" is not wanted any more
};

// Which reports are sent: every one that is named, or of "send --all" those that are pending or due,
// or, with "--now", those that wait for a later attempt too.
enum class Wanted { kEvery, kDue, kNow };

// The reports of a store that "send --all" begins with. Throws DirectoryIterationError.
std::vector<std::filesystem::path> reports_to_send(const std::filesystem::path& store,
                                                   Wanted wanted);

// Sends one report folder as the library does. While another process sends it, this waits, and calls
// `waiting` first. A folder without a readable record is left as it is; so is one that is not
// wanted any more, which the outcome says. The retry rule and the outcome are logged to `logger`, the
// store's. Without a client (`http` is null) the result is a transport failure.
ActionOutcome send_report(HttpClient* http, const std::filesystem::path& folder, Wanted wanted,
                          const std::function<void()>& waiting, Logger& logger);

// Deletes one report folder. With an empty `store` only a folder that holds a record is deleted.
ActionOutcome discard_folder(const std::filesystem::path& store,
                             const std::filesystem::path& folder);

// What a failed attempt means for the report, and what the user can do, in whole sentences.
std::string advice_after_send(const ActionOutcome& outcome);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_REPORT_ACTIONS_H_
