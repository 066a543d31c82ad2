#include "reporter/dialog_pages.h"

#include <map>
#include <utility>

#include "backend/annotation_keys.h"

namespace wrenfall::reporter {
namespace {

using Values = std::map<std::string, std::string>;

// As many digits as a size can have.
constexpr uint64_t kWideSize = uint64_t{1023} << 20;
constexpr int64_t kWideNumber = 1000000000;

DialogPage new_page(Page page, std::string title, Sign sign, ControlId focus) {
  DialogPage made;
  made.page = page;
  made.title = std::move(title);
  made.sign = sign;
  made.focus = focus;
  made.items.push_back({kIcon, ""});
  return made;
}

PageItem labelled(ControlId id, const std::string& label, std::string text = {}) {
  return {id, std::move(text), without_access_key(label)};
}

DialogPage finished(DialogPage page) {
  make_access_keys_unique(page);
  return page;
}

Text heading_for(const std::string& kind) {
  if (kind == kReportKindCrash) return Text::kHeadingCrash;
  return kind == kReportKindHang ? Text::kHeadingHang : Text::kHeadingOther;
}

}  // namespace

DialogPage ask_page(const DialogTexts& texts, const DialogFacts& facts) {
  const Values application = {{"application", facts.application}};
  DialogPage page =
      new_page(Page::kAsk, texts.filled(Text::kTitle, application), Sign::kWarning, kDescription);
  page.default_button = kSendButton;
  std::string message = texts.filled(Text::kIntro, application);
  if (facts.more > 0) {
    message +=
        "\n" + texts.filled(Text::kMoreReports, {{"count", number_text(facts.more, facts.format)}});
  }
  const std::string size = file_size_text(total_size(facts.files), texts, facts.format);
  const Text hint = facts.is_sent_by_itself ? Text::kCloseHint : Text::kCloseHintAsk;
  const auto add = [&](ControlId id, std::string text) {
    page.items.push_back({id, std::move(text)});
  };
  add(kHeading, texts.filled(heading_for(facts.kind), application));
  add(kMessage, message);
  add(kDescriptionLabel, texts[Text::kDescriptionLabel]);
  page.items.push_back(labelled(kDescription, texts[Text::kDescriptionLabel]));
  add(kEmailLabel, texts[Text::kEmailLabel]);
  page.items.push_back(labelled(kEmail, texts[Text::kEmailLabel]));
  add(kShowFiles, texts.filled(Text::kShowFiles, {{"size", size}}));
  if (texts.offers_restart() && facts.can_restart) {
    add(kRestart,
        texts.filled(Text::kRestart, {{"application", escape_access_key(facts.application)}}));
  }
  if (texts.offers_always_send()) add(kAlwaysSend, texts[Text::kAlwaysSend]);
  if (support_page_for(texts.privacy_url(), true) == SupportPage::kOpenIt) {
    add(kPrivacy, texts[Text::kPrivacy]);
  }
  add(kHint, texts.filled(hint, application));
  add(kSendButton, texts[Text::kSend]);
  add(kDontSendButton, texts[Text::kDontSend]);
  return finished(std::move(page));
}

DialogPage files_page(const DialogTexts& texts, const DialogFacts& facts) {
  const Values application = {{"application", facts.application}};
  DialogPage page =
      new_page(Page::kFiles, texts.filled(Text::kTitle, application), Sign::kInformation, kFiles);
  page.default_button = kBackButton;
  const std::string label = texts.filled(
      Text::kFilesLabel, {{"count", number_text(facts.files.size(), facts.format)},
                          {"size", file_size_text(total_size(facts.files), texts, facts.format)}});
  for (PageItem& item : std::vector<PageItem>{{kHeading, texts[Text::kHeadingFiles]},
                                              {kMessage, texts[Text::kFilesIntro]},
                                              {kFilesLabel, label},
                                              labelled(kFiles, label),
                                              {kOpenFileButton, texts[Text::kOpenFile]},
                                              {kOpenFolderButton, texts[Text::kOpenFolder]},
                                              {kBackButton, texts[Text::kBack]}}) {
    page.items.push_back(std::move(item));
  }
  return finished(std::move(page));
}

std::string progress_text(const DialogTexts& texts, const DialogFacts& facts,
                          const SendingState& state) {
  if (state.is_cancelling) return texts[Text::kCancelling];
  if (state.total == 0) return texts[Text::kPacking];
  return texts.filled(Text::kProgress,
                      {{"sent", file_size_text(state.sent, texts, facts.format)},
                       {"total", file_size_text(state.total, texts, facts.format)}});
}

DialogPage sending_page(const DialogTexts& texts, const DialogFacts& facts,
                        const SendingState& state) {
  DialogPage page = new_page(
      Page::kSending, texts.filled(Text::kTitleSending, {{"application", facts.application}}),
      Sign::kInformation, kCloseButton);
  page.items.push_back({kHeading, texts[Text::kHeadingSending]});
  page.items.push_back({kMessage, texts[Text::kSending]});
  page.items.push_back({kProgress, "", texts[Text::kHeadingSending]});
  PageItem progress = {kProgressText, progress_text(texts, facts, state)};
  for (const SendingState& later :
       {SendingState{}, SendingState{kWideSize, kWideSize}, SendingState{0, 0, true}}) {
    progress.later.push_back(progress_text(texts, facts, later));
  }
  page.items.push_back(std::move(progress));
  page.items.push_back({kCloseButton, texts[Text::kCancel]});
  return finished(std::move(page));
}

DialogPage result_page(const DialogTexts& texts, const OutcomeText& outcome,
                       const ResultFacts& facts) {
  const ControlId button = outcome.may_try_again ? kTryAgainButton : kCloseButton;
  DialogPage page = new_page(Page::kResult, outcome.title,
                             facts.was_sent ? Sign::kInformation : Sign::kError, button);
  page.default_button = button;
  const auto add = [&](ControlId id, const std::string& text) { page.items.push_back({id, text}); };
  add(kHeading, outcome.heading);
  if (!outcome.explanation.empty()) add(kMessage, outcome.explanation);
  if (facts.was_sent && facts.has_number) add(kCopyNumber, texts[Text::kCopy]);
  if (facts.support != SupportPage::kNone) {
    add(kSupportLabel, texts[Text::kSupportLabel]);
    page.items.push_back(labelled(kSupport, texts[Text::kSupportLabel], facts.support_page));
    if (facts.can_open_page) add(kOpenPage, texts[Text::kOpenPage]);
  }
  if (!facts.was_sent && !outcome.details.empty()) {
    add(kShowDetails, texts[facts.shows_details ? Text::kHideDetails : Text::kShowDetails]);
    if (facts.shows_details) {
      page.items.push_back(labelled(kDetails, texts[Text::kDetailsLabel], outcome.details));
    }
  }
  if (outcome.may_try_again) add(kTryAgainButton, texts[Text::kTryAgain]);
  add(kCloseButton, texts[Text::kClose]);
  return finished(std::move(page));
}

std::vector<DialogPage> pages_to_fit(const DialogTexts& texts, const DialogFacts& facts) {
  std::vector<DialogPage> pages = {ask_page(texts, facts), files_page(texts, facts),
                                   sending_page(texts, facts, {})};
  // The user may change this while the window is open.
  DialogFacts changed = facts;
  changed.is_sent_by_itself = !facts.is_sent_by_itself;
  pages.push_back(ask_page(texts, changed));
  SendOutcome outcome;
  outcome.kept = true;
  // What becomes of such a report takes the most words.
  outcome.retry.emplace().agreed = true;
  outcome.upload.crash_id = kWideNumber;
  ResultFacts shown;
  shown.has_number = true;
  shown.support = SupportPage::kShow;
  shown.can_open_page = true;
  shown.shows_details = true;
  const OutcomeContext context{facts.application, facts.is_sent_by_itself, false, facts.format};
  for (const wrenfall_result result :
       {WRENFALL_OK, WRENFALL_ERROR_INVALID_ARGUMENT, WRENFALL_ERROR_FILE, WRENFALL_ERROR_TRANSPORT,
        WRENFALL_ERROR_SERVICE, WRENFALL_ERROR_REJECTED}) {
    outcome.upload.result = result;
    outcome.upload.http_status = result == WRENFALL_ERROR_REJECTED ? kHttpTooManyRequests : 503;
    shown.was_sent = outcome.was_sent();
    pages.push_back(result_page(texts, explain_outcome(outcome, texts, context), shown));
  }
  return pages;
}

}  // namespace wrenfall::reporter
