#ifndef WRENFALL_COMPANIONS_REPORTER_REPORTER_OPTIONS_H_
#define WRENFALL_COMPANIONS_REPORTER_REPORTER_OPTIONS_H_

#include <string>
#include <vector>

namespace wrenfall::reporter {

struct ReporterOptions {
  enum class Request { kSend, kAsk, kHelp, kVersion, kUnusable };

  Request request = Request::kSend;
  std::string error;  // why the arguments are unusable
  // The report folder, or with kAsk the store, in UTF-8. Unusable arguments may name one too, in whose
  // store the error is logged.
  std::string folder;
  // Of the application that the report is of, where they are known; in UTF-8.
  std::string program;
  std::string command_line;
  std::string start_folder;
  std::string application;  // its name; with kAsk alone
};

// `arguments` without the program's name.
ReporterOptions parse_reporter_options(const std::vector<std::string>& arguments);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_REPORTER_OPTIONS_H_
