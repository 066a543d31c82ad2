#include "reporter/report_dialog_win.h"

#include <windows.h>

#include "backend/annotation_keys.h"
#include "common/size_text.h"
#include "reporter/dialog_frame_win.h"
#include "reporter/outcome_text.h"
#include "reporter/process_context_win.h"
#include "reporter/shell_win.h"
#include "support/result_names.h"
#include "support/text.h"
#include "upload/http_client.h"

// clang-format off
#include <commctrl.h>
// clang-format on

#include <memory>
#include <thread>

namespace wrenfall::reporter {
namespace {

constexpr UINT kSendingEnded = WM_APP;
constexpr UINT kReportAnnounced = WM_APP + 1;
constexpr UINT kMarqueeStepMs = 30;

// What the user sees and does, step by step. Everything runs on the thread that made the object,
// except the sending itself: while the page is kSending, only the sender's thread uses the report.
class ReportDialog : private DialogEvents {
 public:
  ReportDialog(OwnedReport& report, const DialogTexts& texts, const std::filesystem::path& logo,
               const std::function<size_t()>& count_more, Logger& logger)
      : report_(report),
        texts_(texts),
        count_more_(count_more),
        logger_(logger),
        frame_(*this, logo) {
    outcome_.upload.result = WRENFALL_OK;
  }
  ~ReportDialog() override {
    if (sender_.joinable()) sender_.join();
  }
  ReportDialog(const ReportDialog&) = delete;
  ReportDialog& operator=(const ReportDialog&) = delete;

  std::optional<wrenfall_result> run() {
    if (!frame_.create()) {
      logger_.error("Dialog not shown (error %lu); the report stays in the store", GetLastError());
      return std::nullopt;
    }
    fill_fixed_texts();
    ask();
    frame_.run();
    return outcome_.upload.result;
  }

 private:
  DialogControls& controls() { return frame_.controls(); }
  std::string filled(Text text) {
    return texts_.filled(text, {{"application", report_.record().appName}});
  }
  void set(ControlId id, Text text) { controls().set_text(id, filled(text)); }

  void fill_fixed_texts() {
    set(kEmailLabel, Text::kEmailLabel);
    set(kDescriptionLabel, Text::kDescriptionLabel);
    set(kAlwaysSend, Text::kAlwaysSend);
    set(kHint, Text::kCloseHint);
    set(kSendButton, Text::kSend);
    set(kDontSendButton, Text::kDontSend);
    set(kCloseButton, Text::kClose);
    set(kTryAgainButton, Text::kTryAgain);
    set(kOpenFolderButton, Text::kOpenFolder);
    set(kSupportLabel, Text::kSupportLabel);
    set(kDetailsLabel, Text::kDetailsLabel);
    controls().set_columns(texts_[Text::kFileColumn], texts_[Text::kSizeColumn]);
    const auto files = list_files_to_send(report_.folder());
    const std::string label = texts_.filled(
        Text::kFilesLabel,
        {{"count", std::to_string(files.size())}, {"size", size_text(total_size(files))}});
    controls().set_text(kFilesLabel, label);
    // The list's name, for screen readers that do not read the label before it.
    controls().set_text(kFiles, label);
    controls().set_files(files);
    controls().set_text(kEmail, report_.record().email);
    controls().set_text(kDescription, report_.record().userDescription);
  }

  void ask() {
    const std::string& kind = report_.record().reportKind;
    const Text heading = kind == kReportKindCrash  ? Text::kHeadingCrash
                         : kind == kReportKindHang ? Text::kHeadingHang
                                                   : Text::kHeadingOther;
    set(kHeading, heading);
    show_introduction();
    // The focus is not on a button: a user who is typing when the window appears must not press one
    // by accident.
    std::vector<ControlId> optional;
    if (texts_.offers_always_send()) optional.push_back(kAlwaysSend);
    frame_.show(Page::kAsk, filled(Text::kTitle), IDI_WARNING, kDescription, optional);
  }

  void show_introduction() {
    std::string text = filled(Text::kIntro);
    const size_t more = count_more_();
    if (more > 0) {
      text += "\n" + texts_.filled(Text::kMoreReports, {{"count", std::to_string(more)}});
    }
    controls().set_text(kMessage, text);
  }

  void send() {
    SendMessageW(controls().get(kProgress), PBM_SETMARQUEE, TRUE, kMarqueeStepMs);
    set(kHeading, Text::kHeadingSending);
    set(kMessage, Text::kSending);
    frame_.show(Page::kSending, filled(Text::kTitleSending), IDI_INFORMATION, kCloseButton);
    const HWND window = frame_.window();
    sender_ = std::thread([this, window] {
      const std::unique_ptr<HttpClient> http = make_http_client();
      outcome_ = report_.send(http.get());
      PostMessageW(window, kSendingEnded, 0, 0);
    });
  }

  void show_result() {
    const OutcomeText shown = explain_outcome(outcome_, texts_, report_.record().appName);
    const bool sent = outcome_.was_sent();
    const SupportPage page = support_page_for(outcome_.upload.info_url, may_open_support_page());
    controls().set_text(kHeading, shown.heading);
    controls().set_text(kMessage, shown.explanation);
    controls().set_text(kSupport, outcome_.upload.info_url);
    controls().set_text(kDetails, shown.details);
    frame_.show(Page::kResult, shown.title, sent ? IDI_INFORMATION : IDI_ERROR, kCloseButton,
                optional_controls(sent, page, shown));
    if (page == SupportPage::kOpenIt && !open_web_page(frame_.window(), outcome_.upload.info_url)) {
      logger_.warn("Support page not opened: %s", outcome_.upload.info_url.c_str());
    }
  }

  bool may_open_support_page() {
    if (!report_.record().openSupportUrl || outcome_.upload.info_url.empty()) return false;
    if (!is_elevated()) return true;
    logger_.info("Support page shown but not opened, this process is elevated: %s",
                 outcome_.upload.info_url.c_str());
    return false;
  }

  std::vector<ControlId> optional_controls(bool sent, SupportPage page,
                                           const OutcomeText& shown) const {
    std::vector<ControlId> ids;
    if (page != SupportPage::kNone) ids.insert(ids.end(), {kSupportLabel, kSupport});
    if (!shown.details.empty()) ids.insert(ids.end(), {kDetailsLabel, kDetails});
    if (!sent && outcome_.kept) ids.push_back(kTryAgainButton);
    return ids;
  }

  OwnedReport::Saved save_answers() {
    return report_.save_answers(controls().text(kEmail), controls().text(kDescription));
  }

  void save_and_send() {
    switch (save_answers()) {
      case OwnedReport::Saved::kYes:
        if (controls().is_checked(kAlwaysSend)) report_.keep_consent();
        send();
        break;
      case OwnedReport::Saved::kGone:
        outcome_ = SendOutcome();
        outcome_.not_sent = NotSent::kNoReport;
        show_result();
        break;
      case OwnedReport::Saved::kFailed:
        frame_.tell(filled(Text::kSaveFailed) + "\n\n" + name_and_number(WRENFALL_ERROR_FILE));
        break;
    }
  }

  void discard() {
    if (!report_.discard()) frame_.tell(filled(Text::kDiscardFailed));
    frame_.close();
  }

  // DialogEvents:

  void on_button(ControlId id) override {
    if (id == kOpenFolderButton) open_folder(frame_.window(), report_.folder());
    if (frame_.page() == Page::kAsk && id == kSendButton) save_and_send();
    if (frame_.page() == Page::kAsk && id == kDontSendButton) discard();
    if (frame_.page() == Page::kResult && id == kTryAgainButton) send();
  }

  void on_close() override {
    if (frame_.page() == Page::kSending) {
      frame_.hide();
      return;
    }
    if (frame_.page() == Page::kAsk && save_answers() == OwnedReport::Saved::kFailed &&
        !frame_.confirm(filled(Text::kCloseUnsaved))) {
      return;
    }
    frame_.close();
  }

  void on_message(UINT message) override {
    if (message == kReportAnnounced && frame_.page() == Page::kAsk) {
      show_introduction();
      frame_.lay_out();
    }
    if (message != kSendingEnded) return;
    sender_.join();
    SendMessageW(controls().get(kProgress), PBM_SETMARQUEE, FALSE, 0);
    const bool sent = outcome_.was_sent();
    if (frame_.is_hidden() && sent) {
      frame_.close();
    } else {
      show_result();
    }
  }

  // The process ends right after this. Nothing is to be done for a report that is being sent: once
  // its owner does not run any more, it is pending.
  void on_session_end() override {
    if (frame_.page() == Page::kSending) return;
    if (frame_.page() == Page::kAsk) save_answers();
    report_.give_back();
  }

  OwnedReport& report_;
  const DialogTexts& texts_;
  const std::function<size_t()>& count_more_;
  Logger& logger_;
  SendOutcome outcome_;
  std::thread sender_;
  DialogFrame frame_;
};

BOOL CALLBACK announce_to_window(HWND window, LPARAM process) {
  wchar_t name[8] = {};
  DWORD owner = 0;
  GetWindowThreadProcessId(window, &owner);
  if (owner == static_cast<DWORD>(process) && GetClassNameW(window, name, 8) != 0 &&
      std::wstring(name) == L"#32770") {
    PostMessageW(window, kReportAnnounced, 0, 0);
  }
  return TRUE;
}

}  // namespace

std::optional<wrenfall_result> run_report_dialog(OwnedReport& report, const DialogTexts& texts,
                                                 const std::filesystem::path& logo,
                                                 const std::function<size_t()>& count_more,
                                                 Logger& logger) {
  return ReportDialog(report, texts, logo, count_more, logger).run();
}

void announce_report(uint64_t process) {
  EnumWindows(announce_to_window, static_cast<LPARAM>(process));
}

}  // namespace wrenfall::reporter
