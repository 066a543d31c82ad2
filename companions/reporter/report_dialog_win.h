#ifndef WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_

#include <wrenfall/wrenfall.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

#include "reporter/dialog_texts.h"
#include "reporter/owned_report.h"
#include "support/logger.h"

namespace wrenfall::reporter {

// Asks the user about the report and does what they choose. Returns when the window is closed.
//
// "Send" saves what was typed and sends the report; "Don't send" deletes it. A user who closes the
// window, with Escape for example, or logs off has decided nothing: what was typed is saved, and the
// report stays in the store. Closing the window while the report is being sent only hides it: the
// attempt goes on, and the window comes back if it fails.
//
// Returns the result of the last attempt, WRENFALL_OK when there was none, and nothing when the
// window could not be shown. `logo` is an icon file or empty. `count_more` says how many reports wait
// besides this one; it is asked again after announce_report().
std::optional<wrenfall_result> run_report_dialog(OwnedReport& report, const DialogTexts& texts,
                                                 const std::filesystem::path& logo,
                                                 const std::function<size_t()>& count_more,
                                                 Logger& logger);

// Tells the dialog of another process, if it shows one, that one more report waits.
void announce_report(uint64_t process);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_
