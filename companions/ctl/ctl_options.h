#ifndef WRENFALL_COMPANIONS_CTL_CTL_OPTIONS_H_
#define WRENFALL_COMPANIONS_CTL_CTL_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

namespace wrenfall::ctl {

// What the user asked the tool to do.
struct CtlOptions {
  enum class Command {
    kList,
    kShow,
    kStack,
    kOpen,
    kExport,
    kSend,
    kDiscard,
    kPrune,
    kTail,
    kHelp,
    kVersion,
    kUnusable
  };

  Command command = Command::kUnusable;
  Command help_topic = Command::kUnusable;  // of --help: the command that it was given to
  std::string error;                        // why the arguments are unusable
  std::string store;                        // --store, empty when not given
  std::string application;                  // --app and --version; both or neither are given
  std::string version;
  std::string symbols;  // --symbols
  std::string archive;  // the file that export writes
  std::vector<std::string> folders;
  bool all = false;      // of send: all reports; of stack: all threads
  bool latest = false;   // the newest report of the store instead of a folder
  bool stack = false;    // show where the report crashed, too
  bool force = false;    // replace a file
  bool now = false;      // with `all`: also what waits for a later attempt
  bool stores = false;   // list the stores instead of the reports of one
  bool dry_run = false;  // only say what would be removed
  bool json = false;
  bool progress = false;
  bool follow = false;
  uint64_t lines = 10;
  uint64_t max_reports = 0;  // for prune; 0 is no limit
  uint64_t max_age_days = 0;
  uint64_t max_bytes = 0;

  bool names_a_store() const { return !store.empty() || !application.empty(); }
};

// `arguments` in UTF-8, without the program's name.
CtlOptions parse_ctl_options(const std::vector<std::string>& arguments);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_CTL_OPTIONS_H_
