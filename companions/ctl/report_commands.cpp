#include "ctl/report_commands.h"

#include <optional>
#include <string>

#include "common/open_folder.h"
#include "common/program_io.h"
#include "ctl/ctl_commands.h"
#include "ctl/ctl_output.h"
#include "ctl/folder_argument.h"
#include "ctl/output_text.h"
#include "ctl/report_details.h"
#include "ctl/report_export.h"
#include "ctl/stack_output.h"
#include "ctl/store_scan.h"
#include "report/store/layout.h"
#include "stack/dump_stacks.h"
#include "stack/symbol_folders.h"
#include "support/files.h"
#include "support/paths.h"
#include "support/text.h"

namespace wrenfall::ctl {

namespace fs = std::filesystem;

namespace {

// The one report that a command is about.
FolderArgument report_of(const CtlOptions& options, const fs::path& store) {
  if (!options.latest) return find_report_folder(store, options.folders.front());
  const auto newest = newest_report(store);
  if (!newest) return {store, "there is no report in the store"};
  return {*newest, ""};
}

int no_report(const fs::path& folder, const std::string& error) {
  return report_failure(
      WRENFALL_ERROR_INVALID_ARGUMENT,
      path_to_utf8(folder) + ": " + (error.empty() ? "there is no such report" : error) + ".");
}

std::optional<stack::StackReport> stacks_of(const CtlOptions& options, const fs::path& dump) {
  stack::StackRequest request;
  request.dump = dump;
  request.folders = stack::split_folders(options.symbols);
  request.all_threads = options.all;
  return stack::read_stacks(request);
}

// Why there are no stacks of a report.
const char* missing_stack_text(const ReportDetails& details) {
  return details.has_dump ? "the dump cannot be read" : "there is no dump";
}

int show(const CtlOptions& options, const fs::path& store) {
  const auto [folder, error] = report_of(options, store);
  const auto details = error.empty() ? read_report_details(folder) : std::nullopt;
  if (!details) return no_report(folder, error);
  std::optional<stack::StackReport> stacks;
  if (options.stack && details->has_dump) stacks = stacks_of(options, folder / kReportDumpFile);
  if (options.json) {
    nlohmann::json document = details_json(*details);
    if (options.stack) {
      document["stack"] = stacks ? stack_json(*stacks) : nlohmann::json(nullptr);
      document["warnings"] = nlohmann::json::array();
      if (!stacks) document["warnings"].push_back(missing_stack_text(*details));
    }
    print_text(TextStream::kOutput, json_document(document));
    return WRENFALL_OK;
  }
  print_text(TextStream::kOutput, details_text(*details) + (stacks ? stack_text(*stacks) : ""));
  if (stacks) {
    print_text(TextStream::kError, stack_warnings_text(stacks->warnings));
  } else if (options.stack) {
    print_text(TextStream::kError, stack_warnings_text({missing_stack_text(*details)}));
  }
  return WRENFALL_OK;
}

int stack_trace(const CtlOptions& options, const fs::path& store) {
  const auto [folder, error] = report_of(options, store);
  if (!error.empty() || !path_exists(folder)) return no_report(folder, error);
  const fs::path dump = is_folder(folder) ? folder / kReportDumpFile : folder;
  if (!is_file(dump)) return no_report(folder, "there is no dump");
  const auto stacks = stacks_of(options, dump);
  if (!stacks) {
    return report_failure(WRENFALL_ERROR_FILE,
                          path_to_utf8(dump) + " cannot be read, or is no minidump.");
  }
  if (options.json) {
    print_text(TextStream::kOutput, json_document(stack_json(*stacks)));
    return WRENFALL_OK;
  }
  print_text(TextStream::kOutput, stack_text(*stacks));
  print_text(TextStream::kError, stack_warnings_text(stacks->warnings));
  return WRENFALL_OK;
}

int open_report(const CtlOptions& options, const fs::path& store) {
  const auto [folder, error] = report_of(options, store);
  if (!error.empty() || !is_folder(folder)) return no_report(folder, error);
  if (open_folder(folder)) return WRENFALL_OK;
  return report_failure(WRENFALL_ERROR_FILE,
                        "The system cannot show " + path_to_utf8(folder) + ".");
}

int export_one(const CtlOptions& options, const fs::path& store) {
  const auto [folder, error] = report_of(options, store);
  if (!error.empty() || !is_folder(folder)) return no_report(folder, error);
  const fs::path archive = plain_path(utf8_to_path(options.archive));
  const ExportOutcome outcome = export_report(folder, archive, options.force);
  if (outcome.result != WRENFALL_OK) return report_failure(outcome.result, outcome.error);
  print_text(TextStream::kOutput, options.json
                                      ? json_document(exported_json(folder, archive, outcome))
                                      : exported_text(folder, archive, outcome));
  return WRENFALL_OK;
}

}  // namespace

int run_report_command(const CtlOptions& options, const fs::path& store) {
  if (options.latest && !is_folder(store)) return no_store(store);
  switch (options.command) {
    case CtlOptions::Command::kShow:
      return show(options, store);
    case CtlOptions::Command::kStack:
      return stack_trace(options, store);
    case CtlOptions::Command::kOpen:
      return open_report(options, store);
    default:
      return export_one(options, store);
  }
}

}  // namespace wrenfall::ctl
