#ifndef WRENFALL_COMPANIONS_REPORTER_ASKING_RULE_H_
#define WRENFALL_COMPANIONS_REPORTER_ASKING_RULE_H_

#include <wrenfall/wrenfall.h>

#include <cstdint>
#include <string>

#include "report/store/upload_policy.h"

namespace wrenfall::reporter {

// How the reporter handles a report by its policy.
struct Handling {
  bool asks = false;                // shows the dialog first
  bool at_somebodys_word = false;   // a person, or the answer in the dialog, wants it sent
  bool is_dialog_left_out = false;  // it would have asked, but cannot in session 0
};

// In session 0 no user sees a window, and a window of a service is a way to that service's rights. So
// policy dialog means the same as policy quiet there: the report is sent if the consent lets a program
// send on its own, else it stays.
inline Handling handling_of(const std::string& policy, uint32_t consent, bool in_session_zero) {
  const bool wants_dialog = policy == kPolicyDialog && consent != WRENFALL_CONSENT_GIVEN;
  Handling handling;
  handling.asks = wants_dialog && !in_session_zero;
  handling.is_dialog_left_out = wants_dialog && in_session_zero;
  handling.at_somebodys_word = handling.asks || policy == kPolicyManual;
  return handling;
}

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_ASKING_RULE_H_
