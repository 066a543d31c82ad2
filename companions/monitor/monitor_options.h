#ifndef WRENFALL_COMPANIONS_MONITOR_MONITOR_OPTIONS_H_
#define WRENFALL_COMPANIONS_MONITOR_MONITOR_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "report/store/store_limits.h"
#include "support/process.h"

namespace wrenfall::monitor {

// What the monitor needs of the command line that the capture client gives to its handler. Texts are
// UTF-8.
struct MonitorOptions {
  enum class Request { kMonitor, kHelp, kVersion, kUnusable };

  Request request = Request::kMonitor;
  std::string error;     // why the arguments are unusable
  std::string database;  // the capture database's folder
  std::string store;     // set whenever the arguments name one, also when they are unusable
  std::string reporter;  // may be empty
  ProcessIdentity host;  // the process that is watched
  uint32_t run = 1;      // which of its runs this is
  StoreLimits limits;    // what the host said about keeping reports
};

// `arguments` without the program's name. Arguments that only the handler understands are ignored.
MonitorOptions parse_monitor_options(const std::vector<std::string>& arguments);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_MONITOR_OPTIONS_H_
