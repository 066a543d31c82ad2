#include "ctl/ctl_options.h"

#include <charconv>

namespace wrenfall::ctl {
namespace {

using Command = CtlOptions::Command;

constexpr struct {
  const char* name;
  Command command;
} kCommands[] = {
    {"list", Command::kList},       {"show", Command::kShow}, {"send", Command::kSend},
    {"discard", Command::kDiscard}, {"tail", Command::kTail},
};

// Goes through the arguments once, from left to right.
class Parser {
 public:
  explicit Parser(const std::vector<std::string>& arguments) : arguments_(arguments) {}

  CtlOptions parse() {
    if (arguments_.size() == 1 && arguments_[0] == "--version") {
      options_.command = Command::kVersion;
      return options_;
    }
    while (next_ < arguments_.size() && !help_) take(arguments_[next_++]);
    if (help_) {
      options_.command = Command::kHelp;
      return options_;
    }
    check();
    if (!options_.error.empty()) options_.command = Command::kUnusable;
    return options_;
  }

 private:
  void take(const std::string& argument) {
    if (only_names_ || argument.size() < 2 || argument[0] != '-') {
      take_name(argument);
    } else if (argument == "--") {
      only_names_ = true;
    } else if (argument == "--help") {
      help_ = true;
    } else if (!take_flag(argument) && !take_setting(argument)) {
      fail("unknown option " + argument);
    }
  }

  void take_name(const std::string& name) {
    if (has_command_) {
      if (name.empty()) fail("an empty folder name");
      options_.folders.push_back(name);
      return;
    }
    has_command_ = true;
    for (const auto& known : kCommands) {
      if (name == known.name) options_.command = known.command;
    }
    if (options_.command == Command::kUnusable) fail("unknown command " + name);
  }

  bool take_flag(const std::string& argument) {
    bool* const flag = argument == "--all"        ? &options_.all
                       : argument == "--json"     ? &options_.json
                       : argument == "--progress" ? &options_.progress
                       : argument == "--follow"   ? &options_.follow
                                                  : nullptr;
    if (flag != nullptr) *flag = true;
    return flag != nullptr;
  }

  // "--name VALUE" and "--name=VALUE".
  bool take_setting(const std::string& argument) {
    const size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    std::string* const text = name == "--store"     ? &options_.store
                              : name == "--app"     ? &options_.application
                              : name == "--version" ? &options_.version
                                                    : nullptr;
    if (text == nullptr && name != "-n") return false;
    std::string value;
    if (equals != std::string::npos) {
      value = argument.substr(equals + 1);
    } else if (next_ < arguments_.size()) {
      value = arguments_[next_++];
    }
    if (value.empty()) fail(name + " needs a value");
    if (text != nullptr) {
      *text = value;
    } else {
      has_lines_ = true;
      take_lines(value);
    }
    return true;
  }

  void take_lines(const std::string& value) {
    const char* const end = value.data() + value.size();
    const auto parsed = std::from_chars(value.data(), end, options_.lines);
    if (parsed.ec != std::errc() || parsed.ptr != end) fail("-n needs a number of lines");
  }

  void check() {
    if (!has_command_) return fail("no command");
    if (options_.application.empty() != options_.version.empty()) {
      return fail("--app and --version belong together");
    }
    if (!options_.store.empty() && !options_.application.empty()) {
      return fail("--store and --app exclude each other");
    }
    const Command command = options_.command;
    if (options_.all && command != Command::kSend) return fail("--all belongs to send");
    if (options_.progress && command != Command::kSend) return fail("--progress belongs to send");
    if ((options_.follow || has_lines_) && command != Command::kTail) {
      return fail("-n and --follow belong to tail");
    }
    check_folders(command);
    const bool needs_store = command == Command::kList || command == Command::kTail || options_.all;
    if (needs_store && !options_.names_a_store()) {
      fail("which store? Give --store DIR, or --app NAME --version V");
    }
  }

  void check_folders(Command command) {
    const size_t count = options_.folders.size();
    if (command == Command::kList || command == Command::kTail) {
      if (count != 0) fail("no folder can be given here");
    } else if (command == Command::kShow) {
      if (count != 1) fail("show needs one report folder");
    } else if (options_.all == (count != 0)) {
      fail(command == Command::kSend ? "send needs report folders, or --all"
                                     : "discard needs report folders");
    }
  }

  // The first error counts.
  void fail(const std::string& error) {
    if (options_.error.empty()) options_.error = error;
  }

  const std::vector<std::string>& arguments_;
  CtlOptions options_;
  size_t next_ = 0;
  bool has_command_ = false;
  bool has_lines_ = false;
  bool only_names_ = false;
  bool help_ = false;
};

}  // namespace

const char kCtlHelp[] =
    "wrenfallctl looks after the crash reports in a Wrenfall store.\n"
    "\n"
    "  list                       the reports, the oldest first\n"
    "  show FOLDER                everything about one report\n"
    "  send FOLDER... | --all     sends these reports, or all that are pending\n"
    "  discard FOLDER...          deletes reports without sending them\n"
    "  tail [-n N] [--follow]     the last N lines (10) of the store's log, and those to come\n"
    "\n"
    "  --store DIR                the store\n"
    "  --app NAME --version V     the default store of that application\n"
    "  --json                     one JSON document; for tail one object a line\n"
    "  --progress                 shows the progress of uploads even when the output is no "
    "console\n"
    "  --help, --version          print this text or the version\n"
    "\n"
    "FOLDER is a name in the store or a path. Sending deletes the report, unless the service\n"
    "answers 500, 502, 503 or 504: then it is kept, at most twice. A report stays pending when\n"
    "the service cannot be reached or its files cannot be read; --all then stops at a service\n"
    "that cannot be reached.\n"
    "The exit code is 0 when all was done, 1 for unusable arguments, else the wrenfall_result of\n"
    "the first failure.\n";

CtlOptions parse_ctl_options(const std::vector<std::string>& arguments) {
  return Parser(arguments).parse();
}

}  // namespace wrenfall::ctl
