#include "ctl/ctl_options.h"

#include <charconv>

namespace wrenfall::ctl {
namespace {

using Command = CtlOptions::Command;

constexpr struct {
  const char* name;
  Command command;
} kCommands[] = {
    {"list", Command::kList},       {"show", Command::kShow},     {"stack", Command::kStack},
    {"open", Command::kOpen},       {"export", Command::kExport}, {"send", Command::kSend},
    {"discard", Command::kDiscard}, {"prune", Command::kPrune},   {"tail", Command::kTail},
};

std::string name_of(Command command) {
  for (const auto& known : kCommands) {
    if (known.command == command) return known.name;
  }
  return {};
}

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
      options_.help_topic = options_.command;
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
                       : argument == "--latest"   ? &options_.latest
                       : argument == "--stack"    ? &options_.stack
                       : argument == "--force"    ? &options_.force
                       : argument == "--now"      ? &options_.now
                       : argument == "--stores"   ? &options_.stores
                       : argument == "--dry-run"  ? &options_.dry_run
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
                              : name == "--symbols" ? &options_.symbols
                                                    : nullptr;
    uint64_t* const number = name == "-n"              ? &options_.lines
                             : name == "--max-reports" ? &options_.max_reports
                             : name == "--max-age"     ? &options_.max_age_days
                             : name == "--max-bytes"   ? &options_.max_bytes
                                                       : nullptr;
    if (text == nullptr && number == nullptr) return false;
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
      has_lines_ = has_lines_ || number == &options_.lines;
      take_number(name, value, *number);
    }
    return true;
  }

  void take_number(const std::string& name, const std::string& value, uint64_t& number) {
    const char* const end = value.data() + value.size();
    const auto parsed = std::from_chars(value.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end) fail(name + " needs a number");
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
    if (options_.all && command != Command::kSend && command != Command::kStack) {
      return fail("--all belongs to send and stack");
    }
    if (options_.progress && command != Command::kSend) return fail("--progress belongs to send");
    if ((options_.follow || has_lines_) && command != Command::kTail) {
      return fail("-n and --follow belong to tail");
    }
    check_limits(command);
    check_report_options(command);
    check_folders(command);
    const bool needs_store = (command == Command::kList && !options_.stores) ||
                             command == Command::kPrune || command == Command::kTail ||
                             sends_all() || options_.latest;
    if (needs_store && !options_.names_a_store()) {
      fail("which store? Give --store DIR, or --app NAME --version V");
    }
  }

  void check_limits(Command command) {
    const bool limits =
        options_.max_reports != 0 || options_.max_age_days != 0 || options_.max_bytes != 0;
    if (options_.now && !sends_all()) return fail("--now belongs to send --all");
    if (options_.stores && command != Command::kList) return fail("--stores belongs to list");
    if (options_.stores && options_.names_a_store()) {
      return fail("--stores finds all stores; it takes none");
    }
    if ((limits || options_.dry_run) && command != Command::kPrune) {
      return fail("limits and --dry-run belong to prune");
    }
    if (command == Command::kPrune && !limits) {
      fail("prune needs --max-reports, --max-age or --max-bytes");
    }
  }

  bool sends_all() const { return options_.all && options_.command == Command::kSend; }

  // Whether a command is about one report, which "--latest" can name.
  static bool takes_one_report(Command command) {
    return command == Command::kShow || command == Command::kStack || command == Command::kOpen ||
           command == Command::kExport;
  }

  void check_report_options(Command command) {
    if (options_.latest && !takes_one_report(command)) {
      return fail("--latest belongs to show, stack, open and export");
    }
    if (options_.stack && command != Command::kShow) return fail("--stack belongs to show");
    if (options_.force && command != Command::kExport) return fail("--force belongs to export");
    if (!options_.symbols.empty() && command != Command::kStack && !options_.stack) {
      return fail("--symbols belongs to stack and show --stack");
    }
    if (command != Command::kExport) return;
    if (options_.folders.empty()) return fail("export needs the file to write");
    options_.archive = options_.folders.back();
    options_.folders.pop_back();
  }

  void check_folders(Command command) {
    const size_t count = options_.folders.size();
    if (command == Command::kList || command == Command::kPrune || command == Command::kTail) {
      if (count != 0) fail("no folder can be given here");
    } else if (takes_one_report(command)) {
      if (count != (options_.latest ? 0u : 1u)) {
        fail(name_of(command) + " needs one report folder, or --latest");
      }
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

CtlOptions parse_ctl_options(const std::vector<std::string>& arguments) {
  return Parser(arguments).parse();
}

}  // namespace wrenfall::ctl
