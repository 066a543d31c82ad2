#include <windows.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <string>

#include "common/program_io.h"
#include "report/crash_data.h"
#include "report/folder_claim.h"
#include "reporter/reporter_options.h"
#include "reporter/send_report.h"
#include "support/files.h"
#include "support/logger.h"
#include "support/paths.h"
#include "support/text.h"
#include "support/version.h"
#include "upload/http_client.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

constexpr char kHelp[] =
    "WrenfallReporter.exe FOLDER sends the report in that folder. The exit code is 0 when the\n"
    "service has it, else the wrenfall_result that says why not.\n"
    "  --help, --version  print this text or the version\n";

// The folder as an absolute path without a separator at the end, so that its parent is the store.
fs::path clean_folder(const std::string& text) {
  std::error_code error;
  const fs::path folder = fs::absolute(utf8_to_path(text), error).lexically_normal();
  return folder.has_filename() ? folder : folder.parent_path();
}

int refuse(const std::string& reason, Logger& logger) {
  logger.error("Report not sent: %s", reason.c_str());
  print_text(TextStream::kError, "WrenfallReporter: " + reason + "\n");
  return WRENFALL_ERROR_INVALID_ARGUMENT;
}

// The record's policy tells whether the user is to be asked. Every report is sent without asking:
// there is no dialog.
int send(const fs::path& folder, Logger& logger) {
  // The host may be sending the report at this moment; what is left to do is known when it has
  // finished.
  const FolderClaim claim(folder);
  CrashData record;
  if (!load(folder, record)) {
    return refuse("no readable record in " + path_to_utf8(folder), logger);
  }
  const std::unique_ptr<HttpClient> http = make_http_client();
  try {
    return send_report(http.get(), folder, std::move(record), logger);
  } catch (const std::exception& error) {
    return refuse(error.what(), logger);
  }
}

int run() {
  // Nothing that a system library loads later is to come from the program's or the current folder.
  SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  const ReporterOptions options = parse_reporter_options(program_arguments());
  Logger logger;
  fs::path folder;
  if (!options.folder.empty()) {
    folder = clean_folder(options.folder);
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
      return send(folder, logger);
  }
}

}  // namespace
}  // namespace wrenfall

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) { return wrenfall::run(); }
