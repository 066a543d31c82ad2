#ifndef WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_

#include <wrenfall/wrenfall.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "reporter/owned_report.h"
#include "reporter/shell_win.h"
#include "reporter/theme.h"
#include "support/logger.h"

namespace wrenfall::reporter {

// Asks the user about the report and does what they choose. Returns when the window is closed.
//
// "Send" saves what was typed, deletes the files that the user left out, and sends the report;
// "Don't send" deletes it. A user who closes the window, with Escape for example, or logs off has
// decided nothing about the report: what was typed is saved, the files that were left out are
// deleted, so that no other program sends them, and the report stays in the store. Where the user
// wants the application started again, that happens with each of these choices, but not when they
// log off. "Cancel" ends an attempt. Closing the window while the report is being sent only hides
// it: the attempt goes on, and the window comes back if it fails.
//
// Returns the result of the last attempt, WRENFALL_OK when there was none, and nothing when the
// window could not be shown. `application` may be empty. `count_more` says how many reports wait
// besides this one; it is asked again after announce_report().
std::optional<wrenfall_result> run_report_dialog(OwnedReport& report, const DialogTheme& theme,
                                                 const ApplicationStart& application,
                                                 const std::function<size_t()>& count_more,
                                                 Logger& logger);

// Tells the dialog of another process, if it shows one, that one more report waits.
void announce_report(uint64_t process);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_
