// clang-format off
#include <windows.h>
#include <objbase.h>
// clang-format on

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "common/program_io.h"
#include "common/program_start.h"
#include "common/ui_language.h"
#include "report/store/consent.h"
#include "report/store/layout.h"
#include "report/store/report_result.h"
#include "report/store/upload_policy.h"
#include "reporter/application_start.h"
#include "reporter/asking_rule.h"
#include "reporter/owned_report.h"
#include "reporter/process_context_win.h"
#include "reporter/report_dialog_win.h"
#include "reporter/report_queue.h"
#include "reporter/reporter_lock_win.h"
#include "reporter/reporter_options.h"
#include "reporter/shell_win.h"
#include "reporter/theme.h"
#include "support/files.h"
#include "support/logger.h"
#include "support/paths.h"
#include "support/text.h"
#include "support/version.h"
#include "upload/http_client.h"

namespace wrenfall::reporter {
namespace {

namespace fs = std::filesystem;

constexpr char kHelp[] =
    "WrenfallReporter.exe FOLDER sends the report in that folder, after asking the user where the\n"
    "report's upload policy is \"dialog\". The exit code is 0 when the service has it, or when "
    "the\n"
    "user did not want it sent now, else the wrenfall_result that says why not.\n"
    "  --program EXE      the application that the report is of, whose icon the dialog shows\n"
    "  --restart COMMAND  its command line, with which the dialog can start it again\n"
    "  --restart-in DIR   the folder that it is started in, else that of EXE\n"
    "  --ask STORE        asks about all reports in that folder that wait for the user's answer\n"
    "  --application NAME with --ask the application that EXE is the program of\n"
    "  --help, --version  print this text or the version\n";

constexpr DWORD kPauseMs = 50;

int refuse(const std::string& reason, Logger& logger) {
  logger.error("Report not sent: %s", reason.c_str());
  print_text(TextStream::kError, "WrenfallReporter: " + reason + "\n");
  return WRENFALL_ERROR_INVALID_ARGUMENT;
}

int refuse_folder(const fs::path& folder, Logger& logger) {
  const char* const reason =
      is_marked_as_sent(folder) ? "already sent: " : "no readable record in ";
  return refuse(reason + path_to_utf8(folder), logger);
}

// Works on the reports that it was started for, and on those that come meanwhile.
class Reporter {
 public:
  Reporter(const fs::path& store, const std::string& policy, Logger& logger)
      : policy_(policy),
        logger_(logger),
        lock_(store, policy),
        queue_(store, policy, lock_,
               {[this](const fs::path& report) { return serve(report); }, announce_report,
                [] { Sleep(kPauseMs); }},
               logger) {}

  // These return the exit code.
  int run(const fs::path& first, const ApplicationStart& application) {
    first_ = first;
    application_ = application;
    queue_.run(first);
    return result_;
  }
  int run_asking(const ApplicationStart& application) {
    application_ = application;
    if (is_in_session_zero()) {
      logger_.warn("Nobody can be asked in session 0; the reports stay in the store");
      return result_;
    }
    queue_.run_asking();
    return result_;
  }

 private:
  // False when the other reports are to be left for the host's next start.
  bool serve(const fs::path& folder) {
    const bool was_waiting = folder != first_;
    std::optional<OwnedReport> report = OwnedReport::take(folder, logger_, was_waiting);
    // Another process may have sent or discarded a report that was waiting.
    if (!report) {
      if (!was_waiting) result_ = refuse_folder(folder, logger_);
      return true;
    }
    const uint32_t consent = read_consent(folder.parent_path());
    const Handling handling = handling_of(policy_, consent, is_in_session_zero());
    if (handling.is_dialog_left_out) {
      logger_.warn("No dialog in session 0, handled as with policy quiet: %s",
                   path_to_utf8(folder).c_str());
    }
    if (!may_send(consent, handling.at_somebodys_word)) {
      log_no_consent(folder, logger_);
      return false;
    }
    const auto result = handling.asks ? ask(*report) : send(*report, handling.at_somebodys_word);
    if (!result) return false;
    if (result_ == WRENFALL_OK) result_ = *result;
    return true;
  }

  std::optional<wrenfall_result> ask(OwnedReport& report) {
    if (!has_visible_desktop()) {
      logger_.warn("Nobody can be asked on this desktop; the report stays in the store");
      return std::nullopt;
    }
    const fs::path folder = utf8_to_path(report.record().themeDir);
    const std::string& locale = report.record().locale;
    const DialogTheme theme = {
        load_theme_texts(folder, locale.empty() ? ui_language() : locale, logger_),
        find_theme_logo(folder, logger_)};
    const ApplicationStart application =
        application_of(report.record(), report.folder() == first_, application_);
    return run_report_dialog(
        report, theme, application, [this] { return queue_.count_waiting(); }, logger_);
  }

  // Nothing when the service cannot be reached: the other reports would fail like this one.
  std::optional<wrenfall_result> send(OwnedReport& report, bool at_somebodys_word) {
    const std::unique_ptr<HttpClient> http = make_http_client();
    const SendOutcome outcome = report.send(http.get(), at_somebodys_word);
    const wrenfall_result result = outcome.upload.result;
    // With resending on, each report gets an attempt of its own, and with it the time of the next.
    if (result != WRENFALL_ERROR_TRANSPORT || outcome.retry) return result;
    if (result_ == WRENFALL_OK) result_ = result;
    return std::nullopt;
  }

  fs::path first_;                // empty when it was started for none
  ApplicationStart application_;  // that it was started for
  const std::string policy_;  // by which it works, whatever the records of handed-over reports say
  Logger& logger_;
  int result_ = WRENFALL_OK;  // of the first failure
  StoreReporterLock lock_;
  ReportQueue queue_;
};

int serve(const fs::path& folder, const ReporterOptions& options, Logger& logger) {
  CrashData record;
  if (!load(folder, record)) return refuse_folder(folder, logger);
  const std::string policy = known_upload_policy(record.uploadPolicy);
  return Reporter(folder.parent_path(), policy, logger)
      .run(folder, {record.appName, utf8_to_path(options.program), options.command_line,
                    utf8_to_path(options.start_folder)});
}

int ask(const fs::path& store, const ReporterOptions& options, Logger& logger) {
  return Reporter(store, kPolicyDialog, logger)
      .run_asking({options.application, utf8_to_path(options.program), {}, {}});
}

int with_shell(int (*work)(const fs::path&, const ReporterOptions&, Logger&),
               const fs::path& folder, const ReporterOptions& options, Logger& logger) {
  // The shell needs COM to open folders and web pages.
  const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
  const int result = work(folder, options, logger);
  if (SUCCEEDED(com)) CoUninitialize();
  return result;
}

int run() {
  prepare_program();
  const ReporterOptions options = parse_reporter_options(program_arguments());
  Logger logger;
  fs::path folder;
  if (!options.folder.empty()) {
    folder = plain_path(utf8_to_path(options.folder));
    const bool asks = options.request == ReporterOptions::Request::kAsk;
    const fs::path store = asks ? folder : folder.parent_path();
    if (is_folder(store)) logger.set_path(store / kLogFile);
  }
  switch (options.request) {
    case ReporterOptions::Request::kHelp:
      print_text(TextStream::kOutput, kHelp);
      return WRENFALL_OK;
    case ReporterOptions::Request::kVersion:
      print_text(TextStream::kOutput, "WrenfallReporter " WRENFALL_VERSION_TEXT "\n");
      return WRENFALL_OK;
    case ReporterOptions::Request::kUnusable:
      return refuse(options.error, logger);
    case ReporterOptions::Request::kAsk:
      return with_shell(ask, folder, options, logger);
    default:
      return with_shell(serve, folder, options, logger);
  }
}

}  // namespace
}  // namespace wrenfall::reporter

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) { return wrenfall::reporter::run(); }
