#ifndef WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_

#include <wrenfall/wrenfall.h>

#include <filesystem>

#include "reporter/dialog_texts.h"
#include "reporter/owned_report.h"
#include "support/logger.h"

namespace wrenfall::reporter {

// Asks the user about the report and does what they say; returns when the window is gone.
//
// "Send" saves what was typed and sends; "Don't send" deletes the report. Closing the window
// without either, Escape included, is no decision: what was typed is saved and the report stays in
// the store, as it does when the user logs off. Closing while the report is being sent only hides
// the window: the attempt runs to its end, and the window comes back when it fails.
//
// The result of the last attempt; WRENFALL_OK when there was none. `logo` is an icon file or empty.
wrenfall_result run_report_dialog(OwnedReport& report, const DialogTexts& texts,
                                  const std::filesystem::path& logo, Logger& logger);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_REPORT_DIALOG_WIN_H_
