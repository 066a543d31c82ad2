#include "reporter/outcome_text.h"

#include <algorithm>

#include "support/result_names.h"
#include "support/text.h"

namespace wrenfall::reporter {
namespace {

constexpr size_t kMaxErrorBytes = 2000;  // some services answer with whole web pages
constexpr size_t kMaxAddressBytes = 2000;

Text reason_for(const SendOutcome& outcome, const OutcomeContext& context) {
  if (outcome.not_sent == NotSent::kNoConsent) return Text::kRefused;
  if (outcome.not_sent) return outcome.kept ? Text::kUnreadable : Text::kGone;
  if (context.was_cancelled) return Text::kCancelled;
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

Text fate_of(const SendOutcome& outcome, const OutcomeContext& context) {
  if (outcome.not_sent == NotSent::kNoConsent) return Text::kHeldBack;
  if (outcome.pending && !context.is_sent_by_itself) return Text::kAskedAgain;
  if (outcome.pending) return Text::kSentLater;
  // Who has agreed to this attempt is not asked about the next ones.
  const bool is_sent = context.is_sent_by_itself || (outcome.retry && outcome.retry->agreed);
  if (outcome.retry) return is_sent ? Text::kSentAgain : Text::kAskedAgain;
  return outcome.kept ? Text::kKept : Text::kDeleted;
}

// Without the mark that ends it: a theme's own text may be a sentence.
std::string without_full_stop(std::string text) {
  for (const std::string_view mark : {".", "。"}) {
    if (text.size() > mark.size() &&
        text.compare(text.size() - mark.size(), mark.size(), mark) == 0) {
      text.resize(text.size() - mark.size());
    }
  }
  return text;
}

std::string explain_failure(const SendOutcome& outcome, const DialogTexts& texts,
                            const OutcomeContext& context) {
  const Text reason = reason_for(outcome, context);
  std::string said = texts.filled(reason, {{"status", std::to_string(outcome.upload.http_status)}});
  // Of a report that is gone there is nothing more to say.
  if (reason == Text::kGone) return said;
  const std::string fate = texts.filled(
      fate_of(outcome, context),
      {{"application", context.application}, {"time", context.format.time(outcome.retry_due)}});
  return texts.filled(Text::kFailure,
                      {{"reason", without_full_stop(said)}, {"fate", without_full_stop(fate)}});
}

// A service that answers without a body leaves an error text that ends in the middle.
std::string_view without_empty_end(std::string_view text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == ':')) text.remove_suffix(1);
  return text;
}

std::string details_of(const UploadResult& upload) {
  std::string details = name_and_number(upload.result);
  if (upload.http_status != 0) details += ", HTTP " + std::to_string(upload.http_status);
  const std::string_view error = without_empty_end(cut_utf8(upload.error, kMaxErrorBytes));
  return error.empty() ? details : details + "\n" + std::string(error);
}

std::string sent_text(const UploadResult& upload, const DialogTexts& texts) {
  if (upload.crash_id <= 0) return texts[Text::kHeadingSentPlain];
  return texts.filled(Text::kHeadingSent, {{"number", std::to_string(upload.crash_id)}});
}

bool starts_with_ignoring_case(const std::string& text, const std::string& prefix) {
  return text.size() > prefix.size() &&
         equal_ignoring_ascii_case(std::string_view(text).substr(0, prefix.size()), prefix);
}

}  // namespace

OutcomeText explain_outcome(const SendOutcome& outcome, const DialogTexts& texts,
                            const OutcomeContext& context) {
  const bool sent = outcome.was_sent();
  OutcomeText shown;
  shown.title = texts.filled(sent ? Text::kTitleSent : Text::kTitleNotSent,
                             {{"application", context.application}});
  shown.heading = sent ? sent_text(outcome.upload, texts) : texts[Text::kHeadingNotSent];
  if (sent) return shown;
  shown.explanation = explain_failure(outcome, texts, context);
  if (!outcome.not_sent) shown.details = details_of(outcome.upload);
  shown.may_try_again = outcome.kept && outcome.not_sent != NotSent::kNoConsent;
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
