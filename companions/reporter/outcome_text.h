#ifndef WRENFALL_COMPANIONS_REPORTER_OUTCOME_TEXT_H_
#define WRENFALL_COMPANIONS_REPORTER_OUTCOME_TEXT_H_

#include <string>

#include "reporter/dialog_texts.h"
#include "reporter/owned_report.h"

namespace wrenfall::reporter {

// What the last page of the dialog says about an attempt to send.
struct OutcomeText {
  std::string title;
  std::string heading;
  std::string explanation;  // what went wrong, and what became of the report
  std::string details;      // for support: the result's name, the status, the service's words
};

OutcomeText explain_outcome(const SendOutcome& outcome, const DialogTexts& texts,
                            const std::string& application);

// "WRENFALL_ERROR_TRANSPORT" and so on; the number for a value that has no name.
std::string result_name(wrenfall_result result);

// What to do with the address of a support page, which the service names.
enum class SupportPage {
  kNone,    // there is none
  kShow,    // as text that can be copied
  kOpenIt,  // the same, and open it in the browser
};

// Only a plain web address is ever opened: the system would start whatever program belongs to any
// other scheme.
SupportPage support_page_for(const std::string& address, bool may_open);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_OUTCOME_TEXT_H_
