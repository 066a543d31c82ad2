#include "reporter/outcome_text.h"

#include <algorithm>

#include "reporter/field_text.h"
#include "support/clock.h"
#include "support/result_names.h"
#include "support/text.h"

namespace wrenfall::reporter {
namespace {

constexpr size_t kMaxErrorBytes = 2000;  // some services answer with whole web pages
constexpr size_t kMaxAddressBytes = 2000;

Text reason_for(const SendOutcome& outcome) {
  if (outcome.not_sent == NotSent::kNoConsent) return Text::kFailedOtherwise;
  if (outcome.not_sent) return outcome.kept ? Text::kUnreadable : Text::kGone;
  switch (outcome.upload.result) {
    case WRENFALL_ERROR_INVALID_ARGUMENT:
      return Text::kIncomplete;
    case WRENFALL_ERROR_FILE:
      return Text::kUnreadable;
    case WRENFALL_ERROR_TRANSPORT:
      return Text::kUnreachable;
    case WRENFALL_ERROR_SERVICE:
      return Text::kServiceFailed;
    case WRENFALL_ERROR_REJECTED:
      return outcome.upload.http_status == kHttpTooManyRequests ? Text::kSlowDown : Text::kRejected;
    default:
      return Text::kFailedOtherwise;
  }
}

Text kept_or_deleted(const SendOutcome& outcome) {
  if (outcome.pending) return Text::kSentLater;
  if (outcome.retry) return Text::kSentAgain;
  return outcome.kept ? Text::kKept : Text::kDeleted;
}

std::string details_of(const UploadResult& upload) {
  if (upload.result == WRENFALL_OK) return "crash " + std::to_string(upload.crash_id);
  std::string details = name_and_number(upload.result);
  if (upload.http_status != 0) details += ", HTTP " + std::to_string(upload.http_status);
  if (!upload.error.empty()) details += "\n" + std::string(cut_utf8(upload.error, kMaxErrorBytes));
  return details;
}

bool starts_with_ignoring_case(const std::string& text, const std::string& prefix) {
  return text.size() > prefix.size() &&
         equal_ignoring_ascii_case(std::string_view(text).substr(0, prefix.size()), prefix);
}

}  // namespace

OutcomeText explain_outcome(const SendOutcome& outcome, const DialogTexts& texts,
                            const std::string& application) {
  const bool sent = outcome.was_sent();
  OutcomeText shown;
  shown.title =
      texts.filled(sent ? Text::kTitleSent : Text::kTitleNotSent, {{"application", application}});
  shown.heading = texts[sent ? Text::kHeadingSent : Text::kHeadingNotSent];
  if (sent) {
    shown.explanation = texts[Text::kSent];
  } else {
    shown.explanation =
        texts.filled(reason_for(outcome), {{"status", std::to_string(outcome.upload.http_status)}});
    if (!outcome.not_sent) {
      shown.explanation += "\n" + texts.filled(kept_or_deleted(outcome),
                                               {{"application", application},
                                                {"time", local_time_text(outcome.retry_due)}});
    }
  }
  if (!outcome.not_sent) shown.details = details_of(outcome.upload);
  return shown;
}

SupportPage support_page_for(const std::string& address, bool may_open) {
  if (address.empty()) return SupportPage::kNone;
  const bool is_web = starts_with_ignoring_case(address, "https://") ||
                      starts_with_ignoring_case(address, "http://");
  // These characters are not allowed in an address. A blank or a quotation mark, for example, could
  // start another argument of the browser.
  const bool is_plain = std::all_of(address.begin(), address.end(), [](unsigned char c) {
    return c > ' ' && c < 0x7F && c != '"' && c != '<' && c != '>' && c != '\\' && c != '^' &&
           c != '`' && c != '{' && c != '|' && c != '}';
  });
  return may_open && is_web && is_plain && address.size() <= kMaxAddressBytes ? SupportPage::kOpenIt
                                                                              : SupportPage::kShow;
}

}  // namespace wrenfall::reporter
