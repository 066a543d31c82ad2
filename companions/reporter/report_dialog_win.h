#ifndef WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_

#include <wrenfall/wrenfall.h>

#include <filesystem>

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
// Returns the result of the last attempt, or WRENFALL_OK when there was none. `logo` is an icon file
// or empty.
wrenfall_result run_report_dialog(OwnedReport& report, const DialogTexts& texts,
                                  const std::filesystem::path& logo, Logger& logger);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_
