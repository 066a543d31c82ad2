#ifndef WRENFALL_COMPANIONS_REPORTER_APPLICATION_START_H_
#define WRENFALL_COMPANIONS_REPORTER_APPLICATION_START_H_

#include <filesystem>
#include <string>

#include "report/store/crash_data.h"

namespace wrenfall::reporter {

// An application, and how it is started: a program, its complete command line, and the folder to start it
// in. All may be empty.
struct ApplicationStart {
  std::string name;  // as in its reports
  std::filesystem::path program;
  std::string command_line;
  std::filesystem::path folder;
};

// What the dialog about one of the reports is to know, where the reporter was told `told` of the first.
// Another report of the application is of another process: they share the program and its icon, not the
// command line.
inline ApplicationStart application_of(const CrashData& report, bool is_first,
                                       const ApplicationStart& told) {
  if (is_first) return told;
  ApplicationStart known;
  if (report.appName == told.name) {
    known.name = told.name;
    known.program = told.program;
  }
  return known;
}

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_APPLICATION_START_H_
