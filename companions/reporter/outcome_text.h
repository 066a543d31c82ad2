#ifndef WRENFALL_COMPANIONS_REPORTER_OUTCOME_TEXT_H_
#define WRENFALL_COMPANIONS_REPORTER_OUTCOME_TEXT_H_

#include <string>

#include "reporter/dialog_texts.h"
#include "reporter/owned_report.h"
#include "reporter/user_format.h"

namespace wrenfall::reporter {

// What the last page of the dialog says about an attempt to send.
struct OutcomeText {
  std::string title;
  std::string heading;
  std::string explanation;  // what went wrong and what becomes of the report; empty after success
  std::string details;      // for support: the result's name, the HTTP status, the error text
  bool may_try_again = false;
};

// What the text depends on beside the outcome.
struct OutcomeContext {
  std::string application;
  // Whether anything is sent without the user's word; otherwise the user is asked again.
  bool is_sent_by_itself = true;
  bool was_cancelled = false;  // by the user
  UserFormat format;
};

OutcomeText explain_outcome(const SendOutcome& outcome, const DialogTexts& texts,
                            const OutcomeContext& context);

// What to do with the address of a support page that the service sent.
enum class SupportPage {
  kNone,    // there is none
  kShow,    // as text that can be copied
  kOpenIt,  // the same, and open it in the browser
};

// Only a plain web address is ever opened. For any other scheme the system would start the program
// that is registered for it.
SupportPage support_page_for(const std::string& address, bool may_open);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_OUTCOME_TEXT_H_
