// clang-format off
#include <windows.h>
#include <objbase.h>
// clang-format on

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "common/program_io.h"
#include "report/store/layout.h"
#include "report/store/upload_policy.h"
#include "reporter/owned_report.h"
#include "reporter/report_dialog_win.h"
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
    "  --help, --version  print this text or the version\n";

int refuse(const std::string& reason, Logger& logger) {
  logger.error("Report not sent: %s", reason.c_str());
  print_text(TextStream::kError, "WrenfallReporter: " + reason + "\n");
  return WRENFALL_ERROR_INVALID_ARGUMENT;
}

// A policy that this version does not know counts as dialog, as in the monitor.
bool asks_the_user(const CrashData& record) {
  return known_upload_policy(record.uploadPolicy) == kPolicyDialog;
}

int show_dialog(OwnedReport& report, Logger& logger) {
  if (!has_visible_desktop()) {
    logger.warn("Nobody can be asked on this desktop; the report stays in the store");
    return WRENFALL_OK;
  }
  // The shell needs COM to open folders and web pages.
  const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
  const fs::path theme = utf8_to_path(report.record().themeDir);
  const int result = run_report_dialog(report, load_theme_texts(theme, logger),
                                       find_theme_logo(theme, logger), logger);
  if (SUCCEEDED(com)) CoUninitialize();
  return result;
}

int serve(const fs::path& folder, Logger& logger) {
  std::optional<OwnedReport> report = OwnedReport::take(folder, logger);
  if (!report) return refuse("no readable record in " + path_to_utf8(folder), logger);
  if (asks_the_user(report->record())) return show_dialog(*report, logger);
  const std::unique_ptr<HttpClient> http = make_http_client();
  return report->send(http.get()).upload.result;
}

int run() {
  // Libraries that the system loads later must not come from the program's or the current folder,
  // where others may have put files of the same names.
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  const ReporterOptions options = parse_reporter_options(program_arguments());
  Logger logger;
  fs::path folder;
  if (!options.folder.empty()) {
    folder = plain_path(utf8_to_path(options.folder));
    if (is_folder(folder.parent_path())) logger.set_path(folder.parent_path() / kLogFile);
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
    default:
      return serve(folder, logger);
  }
}

}  // namespace
}  // namespace wrenfall::reporter

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) { return wrenfall::reporter::run(); }
