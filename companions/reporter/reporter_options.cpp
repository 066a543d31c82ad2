#include "reporter/reporter_options.h"

namespace wrenfall::reporter {
namespace {

// Where the value of an option belongs; null for what is no option with a value.
std::string* value_of(const std::string& argument, ReporterOptions& options) {
  if (argument == "--program") return &options.program;
  if (argument == "--restart") return &options.command_line;
  if (argument == "--restart-in") return &options.start_folder;
  if (argument == "--application") return &options.application;
  return nullptr;
}

}  // namespace

ReporterOptions parse_reporter_options(const std::vector<std::string>& arguments) {
  ReporterOptions options;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--help") {
      options.request = ReporterOptions::Request::kHelp;
      return options;
    }
    if (argument == "--version") {
      options.request = ReporterOptions::Request::kVersion;
      return options;
    }
    if (std::string* const value = value_of(argument, options)) {
      if (i + 1 == arguments.size()) {
        options.error = "no value for " + argument;
        break;
      }
      *value = arguments[++i];
    } else if (argument == "--ask") {
      options.request = ReporterOptions::Request::kAsk;
    } else if (!argument.empty() && argument.front() == '-') {
      options.error = "unknown option " + argument;
    } else if (options.folder.empty()) {
      options.folder = argument;
    } else {
      options.error = "more than one folder";
    }
  }
  if (options.folder.empty() && options.error.empty()) options.error = "no folder given";
  if (!options.error.empty()) options.request = ReporterOptions::Request::kUnusable;
  return options;
}

}  // namespace wrenfall::reporter
