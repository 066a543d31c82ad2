#include "reporter/report_dialog_win.h"

#include <windows.h>

#include "backend/annotation_keys.h"
#include "reporter/dialog_frame_win.h"
#include "reporter/dialog_pages.h"
#include "reporter/outcome_text.h"
#include "reporter/process_context_win.h"
#include "reporter/report_sender.h"
#include "reporter/shell_win.h"
#include "support/result_names.h"
#include "support/text.h"
#include "upload/http_client.h"

namespace wrenfall::reporter {
namespace {

constexpr UINT kSendingEnded = WM_APP;
constexpr UINT kReportAnnounced = WM_APP + 1;
constexpr UINT kProgressMade = WM_APP + 2;
constexpr uint64_t kProgressSteps = 1000;

// What the user sees and does, step by step. Everything runs on the thread that made the object; while
// the page is kSending, the report is the sender's alone.
class ReportDialog : private DialogEvents {
 public:
  ReportDialog(OwnedReport& report, const DialogTheme& theme, const ApplicationStart& application,
               const std::function<size_t()>& count_more, Logger& logger)
      : report_(report),
        texts_(theme.texts),
        application_(application),
        count_more_(count_more),
        logger_(logger),
        sender_(report, make_http_client,
                {[this] { PostMessageW(window_, kProgressMade, 0, 0); },
                 [this] { PostMessageW(window_, kSendingEnded, 0, 0); }}),
        frame_(*this, {theme.logo, application.program}, theme.texts.is_right_to_left()) {
    outcome_.upload.result = WRENFALL_OK;
    facts_.application = report.record().appName;
    facts_.kind = report.record().reportKind;
    facts_.files = list_files_to_send(report.folder(), report.record());
    facts_.format = read_user_format();
    facts_.can_restart = facts_.kind == kReportKindCrash && !application.command_line.empty();
  }

  std::optional<wrenfall_result> run() {
    update_facts();
    if (!frame_.create(pages_to_fit(texts_, facts_))) {
      logger_.error("Dialog not shown (error %lu); the report stays in the store", GetLastError());
      return std::nullopt;
    }
    window_ = frame_.window();
    controls().name_columns(texts_[Text::kFileColumn], texts_[Text::kSizeColumn]);
    controls().set_text(kEmail, report_.record().email);
    controls().set_text(kDescription, report_.record().userDescription);
    frame_.show(ask_page(texts_, facts_));
    frame_.run();
    return outcome_.upload.result;
  }

 private:
  DialogControls& controls() { return frame_.controls(); }
  std::string filled(Text text) {
    return texts_.filled(text, {{"application", facts_.application}});
  }

  void update_facts() {
    facts_.more = count_more_();
    facts_.is_sent_by_itself = report_.is_sent_by_itself();
  }

  // The page with the files:

  void show_files() {
    std::vector<DialogControls::FileRow> rows;
    for (const ListedFile& file : facts_.files) {
      rows.push_back(
          {file.is_optional ? file.name : texts_.filled(Text::kAlwaysSent, {{"file", file.name}}),
           file_size_text(file.bytes, texts_, facts_.format), file.is_wanted});
    }
    controls().set_files(rows);
    frame_.show(files_page(texts_, facts_));
  }

  void leave_files() {
    DialogPage page = ask_page(texts_, facts_);
    page.focus = kShowFiles;
    frame_.show(page);
  }

  void open_chosen_file() {
    const int row = controls().chosen_file();
    if (row >= 0) on_file_opened(static_cast<size_t>(row));
  }

  // Sending:

  OwnedReport::Saved save_answers() {
    return report_.save_answers(controls().text(kEmail), controls().text(kDescription));
  }

  std::vector<std::string> unwanted_files() const {
    std::vector<std::string> names;
    for (const ListedFile& file : facts_.files) {
      if (!file.is_wanted) names.push_back(file.name);
    }
    return names;
  }

  // Afterwards the list holds what is still there.
  bool leave_out_unwanted() {
    const std::vector<std::string> names = unwanted_files();
    if (names.empty()) return true;
    const bool left_out = report_.leave_out(names);
    facts_.files = list_again(facts_.files, report_.folder(), report_.record());
    if (frame_.page() == Page::kFiles) {
      show_files();
    } else {
      frame_.refresh(ask_page(texts_, facts_));
    }
    return left_out;
  }

  void show_gone() {
    outcome_ = SendOutcome();
    outcome_.not_sent = NotSent::kNoReport;
    restart_if_wanted();
    show_result();
  }

  void save_and_send() {
    switch (save_answers()) {
      case OwnedReport::Saved::kYes:
        if (!leave_out_unwanted()) {
          frame_.tell(filled(Text::kLeaveOutFailed));
          break;
        }
        if (controls().is_checked(kAlwaysSend)) report_.keep_consent();
        restart_if_wanted();
        send();
        break;
      case OwnedReport::Saved::kGone:
        show_gone();
        break;
      case OwnedReport::Saved::kFailed:
        frame_.tell(filled(Text::kSaveFailed) + "\n\n" + name_and_number(WRENFALL_ERROR_FILE));
        break;
    }
  }

  void send() {
    shows_details_ = false;
    controls().set_progress(0);
    frame_.show(sending_page(texts_, facts_, {}));
    sender_.start();
  }

  void show_progress() {
    if (frame_.page() != Page::kSending) return;
    const SendingState state = sender_.state();
    if (state.total != 0) {
      controls().set_progress(static_cast<int>(state.sent * kProgressSteps / state.total));
    }
    controls().set_text(kProgressText, progress_text(texts_, facts_, state));
  }

  DialogPage make_result_page() const {
    const OutcomeContext context{facts_.application, facts_.is_sent_by_itself,
                                 sender_.was_cancelled(), facts_.format};
    ResultFacts facts;
    facts.was_sent = outcome_.was_sent();
    facts.has_number = outcome_.upload.crash_id > 0;
    facts.support_page = outcome_.upload.info_url;
    facts.support = support_page_for(facts.support_page, false);
    facts.can_open_page =
        support_page_for(facts.support_page, !is_elevated_) == SupportPage::kOpenIt;
    facts.shows_details = shows_details_;
    return result_page(texts_, explain_outcome(outcome_, texts_, context), facts);
  }

  void show_result() {
    update_facts();
    frame_.show(make_result_page());
    const std::string& address = outcome_.upload.info_url;
    if (support_page_for(address, report_.record().openSupportUrl) != SupportPage::kOpenIt) return;
    if (is_elevated_) {
      logger_.info("Support page shown but not opened, this process is elevated: %s",
                   address.c_str());
    } else {
      open_page(address);
    }
  }

  // The browser would have this process's rights. Where these are an administrator's, the user sees the
  // address instead.
  void open_page(const std::string& address) {
    if (is_elevated_) {
      frame_.tell(address, MB_ICONINFORMATION);
    } else if (!open_web_page(window_, address)) {
      logger_.warn("Page not opened: %s", address.c_str());
    }
  }

  void copy_number() {
    if (!copy_text(window_, std::to_string(outcome_.upload.crash_id))) {
      frame_.tell(filled(Text::kCopyFailed));
    }
  }

  void on_sending_ended() {
    outcome_ = sender_.finish();
    if (frame_.is_hidden() && outcome_.was_sent()) {
      frame_.close();
    } else {
      show_result();
    }
  }

  void restart_if_wanted() {
    if (controls().is_checked(kRestart) && !start_application(application_)) {
      frame_.tell(filled(Text::kRestartFailed));
    }
  }

  // While another process has the report, or the disk is full, the user may repeat it later, or close the
  // window. What was deleted in part is complete for nobody.
  void discard() {
    switch (report_.discard()) {
      case OwnedReport::Discarded::kYes:
        restart_if_wanted();
        return frame_.close();
      case OwnedReport::Discarded::kGone:
        return show_gone();
      case OwnedReport::Discarded::kPartly:
        frame_.tell(filled(Text::kDiscardFailed));
        restart_if_wanted();
        return frame_.close();
      case OwnedReport::Discarded::kHeld:
        return frame_.tell(filled(Text::kDiscardHeld));
      case OwnedReport::Discarded::kUnmarked:
        return frame_.tell(filled(Text::kDiscardUnmarked));
    }
  }

  // Saves what was typed and left out. False when the user would rather keep the window open.
  bool may_close_undecided() {
    const OwnedReport::Saved saved = save_answers();
    if (saved == OwnedReport::Saved::kGone) return true;
    if (saved == OwnedReport::Saved::kFailed && !frame_.confirm(filled(Text::kCloseUnsaved))) {
      return false;
    }
    leave_out_unwanted();
    return unwanted_files().empty() || frame_.confirm(filled(Text::kCloseLeftIn));
  }

  // DialogEvents:

  void on_button(ControlId id) override {
    switch (id) {
      case kSendButton:
        return save_and_send();
      case kDontSendButton:
        return discard();
      case kTryAgainButton:
        return send();
      case kShowFiles:
        return show_files();
      case kBackButton:
        return leave_files();
      case kOpenFileButton:
        return open_chosen_file();
      case kOpenFolderButton:
        open_folder(window_, report_.folder());
        return;
      case kPrivacy:
        return open_page(texts_.privacy_url());
      case kOpenPage:
        return open_page(outcome_.upload.info_url);
      case kCopyNumber:
        return copy_number();
      case kShowDetails:
        shows_details_ = !shows_details_;
        return frame_.refresh(make_result_page());
      default:
        return;
    }
  }

  void on_escape() override {
    if (frame_.page() == Page::kFiles) return leave_files();
    if (frame_.page() != Page::kSending) return on_close();
    sender_.cancel();
    show_progress();
  }

  void on_close() override {
    if (frame_.page() == Page::kSending) {
      frame_.hide();
      return;
    }
    const bool asks = frame_.page() == Page::kAsk || frame_.page() == Page::kFiles;
    if (asks) {
      if (!may_close_undecided()) return;
      restart_if_wanted();
    }
    frame_.close();
  }

  void on_file_switched(size_t row, bool checked) override {
    if (frame_.page() != Page::kFiles || row >= facts_.files.size()) return;
    facts_.files[row].is_wanted = checked;
    frame_.refresh(files_page(texts_, facts_));
  }

  bool is_optional(size_t row) override {
    return row < facts_.files.size() && facts_.files[row].is_optional;
  }

  void on_file_opened(size_t row) override {
    if (row >= facts_.files.size()) return;
    const std::string& name = facts_.files[row].name;
    if (is_elevated_ || !is_safe_to_open(name) ||
        !open_file(window_, report_.folder() / utf8_to_path(name))) {
      open_folder(window_, report_.folder());
    }
  }

  void on_message(UINT message) override {
    if (message == kReportAnnounced) update_facts();
    if (message == kReportAnnounced && frame_.page() == Page::kAsk) {
      frame_.refresh(ask_page(texts_, facts_));
    }
    if (message == kProgressMade) show_progress();
    if (message == kSendingEnded) on_sending_ended();
  }

  // The process ends right after this. Nothing is to be done for a report that is being sent: once
  // its owner does not run any more, it is pending.
  void on_session_end() override {
    if (frame_.page() == Page::kSending) return;
    if (frame_.page() != Page::kResult && save_answers() != OwnedReport::Saved::kGone) {
      report_.leave_out(unwanted_files());
    }
    report_.give_back();
  }

  OwnedReport& report_;
  const DialogTexts& texts_;
  const ApplicationStart& application_;
  const std::function<size_t()>& count_more_;
  Logger& logger_;
  DialogFacts facts_;
  SendOutcome outcome_;
  bool shows_details_ = false;
  const bool is_elevated_ = is_elevated();
  HWND window_ = nullptr;  // the sender's thread posts to it
  ReportSender sender_;
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

std::optional<wrenfall_result> run_report_dialog(OwnedReport& report, const DialogTheme& theme,
                                                 const ApplicationStart& application,
                                                 const std::function<size_t()>& count_more,
                                                 Logger& logger) {
  return ReportDialog(report, theme, application, count_more, logger).run();
}

void announce_report(uint64_t process) {
  EnumWindows(announce_to_window, static_cast<LPARAM>(process));
}

}  // namespace wrenfall::reporter
