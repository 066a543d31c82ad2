#include "ctl/ctl_commands.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <thread>
#include <utility>

#include "common/program_io.h"
#include "common/shared_file.h"
#include "ctl/ctl_help.h"
#include "ctl/ctl_output.h"
#include "ctl/folder_argument.h"
#include "ctl/log_tail.h"
#include "ctl/output_text.h"
#include "ctl/progress_text.h"
#include "ctl/report_actions.h"
#include "ctl/report_commands.h"
#include "ctl/store_scan.h"
#include "report/store/layout.h"
#include "report/store/report_store.h"
#include "report/store/store_pruning.h"
#include "support/error_text.h"
#include "support/files.h"
#include "support/log_line.h"
#include "support/logger.h"
#include "support/paths.h"
#include "support/result_names.h"
#include "support/text.h"
#include "support/version.h"

namespace wrenfall::ctl {

namespace fs = std::filesystem;

namespace {

constexpr auto kFollowPause = std::chrono::milliseconds(250);
constexpr size_t kLogPiece = size_t{64} * 1024;

// The store that the options name, or an empty path.
fs::path store_of(const CtlOptions& options) {
  if (!options.store.empty()) return plain_path(utf8_to_path(options.store));
  if (options.application.empty()) return {};
  return default_store_dir(options.application, options.version);
}

Wanted wanted_by(const CtlOptions& options) {
  if (!options.all) return Wanted::kEvery;
  return options.now ? Wanted::kNow : Wanted::kDue;
}

std::vector<FolderArgument> folders_of(const CtlOptions& options, const fs::path& store) {
  std::vector<FolderArgument> folders;
  if (options.all) {
    for (fs::path& folder : reports_to_send(store, wanted_by(options))) {
      folders.push_back({folder, ""});
    }
  }
  for (const std::string& argument : options.folders) {
    folders.push_back(find_report_folder(store, argument));
  }
  return folders;
}

int list(const CtlOptions& options, const fs::path& store) {
  if (options.stores) {
    const auto stores = find_stores(default_stores_dir());
    print_text(TextStream::kOutput,
               options.json ? json_document(stores_json(stores)) : stores_text(stores));
    return WRENFALL_OK;
  }
  const auto reports = scan_store(store);
  if (!reports) return no_store(store);
  print_text(TextStream::kOutput,
             options.json ? json_document(list_json(store, *reports)) : list_text(*reports));
  return WRENFALL_OK;
}

// Collects the outcomes. Text is printed at once; the JSON document comes at the end.
class Outcomes {
 public:
  Outcomes(Action action, bool json) : action_(action), json_(json) {}

  void add(ActionOutcome outcome) {
    if (!outcome.wanted) return;
    if (!json_) {
      const bool failed = outcome.upload.result != WRENFALL_OK;
      print_text(failed ? TextStream::kError : TextStream::kOutput, outcome_text(action_, outcome));
    }
    outcomes_.push_back(std::move(outcome));
  }

  int finish() const {
    if (json_) {
      print_text(TextStream::kOutput, json_document(outcomes_json(action_, outcomes_)));
    } else if (outcomes_.empty()) {
      print_text(TextStream::kOutput, "no reports\n");
    }
    return result_of(outcomes_);
  }

 private:
  const Action action_;
  const bool json_;
  std::vector<ActionOutcome> outcomes_;
};

// The outcome for a folder whose files could not be listed or removed. The other folders are still
// processed.
ActionOutcome broken_off(const fs::path& folder, const fs::filesystem_error& error) {
  ActionOutcome outcome;
  outcome.folder = folder;
  outcome.kept = is_folder(folder);
  outcome.upload.result = WRENFALL_ERROR_FILE;
  outcome.upload.error = error_text(error);
  return outcome;
}

ActionOutcome ambiguous(const fs::path& folder, const std::string& error) {
  ActionOutcome outcome;
  outcome.folder = folder;
  outcome.not_sent = NotSent::kNoFolder;
  outcome.upload.result = WRENFALL_ERROR_INVALID_ARGUMENT;
  outcome.upload.error = error;
  return outcome;
}

int send(const CtlOptions& options, const fs::path& store) {
  if (options.all && !is_folder(store)) return no_store(store);
  const bool console = is_console(TextStream::kError);
  const bool shows_progress = !options.json && (console || options.progress);
  ProgressText progress(console);
  std::string name;
  const auto http = make_http_client([&](uint64_t sent, uint64_t total) {
    if (shows_progress) print_text(TextStream::kError, progress.update(name, sent, total));
  });
  Outcomes outcomes(Action::kSend, options.json);
  for (const auto& [folder, error] : folders_of(options, store)) {
    if (!error.empty()) {
      outcomes.add(ambiguous(folder, error));
      continue;
    }
    name = path_to_utf8(folder.filename());
    Logger logger(folder.parent_path() / kLogFile);
    const auto waiting = [&] {
      if (!options.json) {
        print_text(TextStream::kError,
                   escape_for_terminal(name) + ": another process is sending it; waiting\n");
      }
    };
    try {
      ActionOutcome outcome = send_report(http.get(), folder, wanted_by(options), waiting, logger);
      const bool unreached = outcome.upload.result == WRENFALL_ERROR_TRANSPORT;
      outcomes.add(std::move(outcome));
      if (options.all && unreached) break;  // the other reports would fail like this one
    } catch (const fs::filesystem_error& failure) {
      outcomes.add(broken_off(folder, failure));
    }
  }
  return outcomes.finish();
}

int discard(const CtlOptions& options, const fs::path& store) {
  Outcomes outcomes(Action::kDiscard, options.json);
  for (const auto& [folder, error] : folders_of(options, store)) {
    try {
      outcomes.add(error.empty() ? discard_folder(store, folder) : ambiguous(folder, error));
    } catch (const fs::filesystem_error& failure) {
      outcomes.add(broken_off(folder, failure));
    }
  }
  return outcomes.finish();
}

uint32_t limited(uint64_t number) {
  return static_cast<uint32_t>(std::min<uint64_t>(number, std::numeric_limits<uint32_t>::max()));
}

int prune(const CtlOptions& options, const fs::path& store) {
  if (!is_folder(store)) return no_store(store);
  Pruned pruned;
  pruned.store = store;
  pruned.dry_run = options.dry_run;
  const auto show = [&](const auto& one) {
    if (!options.json) print_text(TextStream::kOutput, pruned_text(one, options.dry_run));
  };
  PruneRequest request;
  request.store = store;
  request.limits = {limited(options.max_reports), limited(options.max_age_days), options.max_bytes};
  request.dry_run = options.dry_run;
  request.on_removed = [&](const StoredReport& report, RetentionReason reason) {
    show(pruned.reports.emplace_back(PrunedReport{report, describe(reason, request.limits)}));
    return true;
  };
  request.on_leftover = [&](const fs::path& entry, int64_t age_s) {
    show(pruned.leftovers.emplace_back(PrunedLeftover{entry, age_s}));
  };
  Logger logger(store / kLogFile);
  prune_store(request, logger);
  if (options.json) {
    print_text(TextStream::kOutput, json_document(pruned_json(pruned)));
  } else if (pruned.reports.empty() && pruned.leftovers.empty()) {
    print_text(TextStream::kOutput, "nothing to remove\n");
  }
  return WRENFALL_OK;
}

// Prints what is added to a log file. The file may be missing at first, and may start again from
// nothing.
class LogPrinter {
 public:
  LogPrinter(fs::path path, bool json) : path_(std::move(path)), json_(json) {}

  // Begins `lines` lines before the end. False when there is no log yet.
  bool start(uint64_t lines) {
    const SharedFile file(path_);
    offset_ =
        start_of_last_lines([&file](uint64_t offset, void* buffer,
                                    size_t size) { return file.read_at(offset, buffer, size); },
                            file.size(), lines);
    return file.is_open();
  }

  // Prints the lines that are complete by now. False when they cannot be printed any more, because no
  // process reads the output.
  bool print_new() {
    const SharedFile file(path_);
    const uint64_t size = file.size();
    if (size < offset_) {
      offset_ = 0;
      splitter_.rest();
    }
    while (offset_ < size) {
      std::string bytes(static_cast<size_t>(std::min<uint64_t>(kLogPiece, size - offset_)), '\0');
      if (!file.read_at(offset_, bytes.data(), bytes.size())) return true;
      offset_ += bytes.size();
      if (!print(splitter_.add(bytes))) return false;
    }
    return true;
  }

  void print_rest() {
    const std::string rest = splitter_.rest();
    if (!rest.empty()) print({rest});
  }

 private:
  bool print(const std::vector<std::string>& lines) const {
    std::string text;
    for (const std::string& line : lines) {
      text +=
          json_ ? json_line(log_line_json(parse_log_line(line))) : escape_for_terminal(line) + "\n";
    }
    return text.empty() || print_text(TextStream::kOutput, text);
  }

  const fs::path path_;
  const bool json_;
  uint64_t offset_ = 0;
  LineSplitter splitter_;
};

int tail(const CtlOptions& options, const fs::path& store) {
  if (!is_folder(store)) return no_store(store);
  LogPrinter log(store / kLogFile, options.json);
  if (!log.start(options.lines) && !options.follow) {
    return report_failure(WRENFALL_ERROR_FILE, "There is no log in " + path_to_utf8(store) + ".");
  }
  while (log.print_new() && options.follow) std::this_thread::sleep_for(kFollowPause);
  log.print_rest();
  return WRENFALL_OK;
}

}  // namespace

int report_failure(int result, const std::string& explanation) {
  print_text(TextStream::kError, "wrenfallctl: " + describe_result(result) + "\n  " +
                                     escape_for_terminal(explanation) + "\n");
  return result;
}

int no_store(const fs::path& store) {
  return report_failure(WRENFALL_ERROR_FILE,
                        "There is no store in " + path_to_utf8(store) +
                            ". It is made when the application starts for the first time.");
}

int run_ctl(const CtlOptions& options) {
  switch (options.command) {
    case CtlOptions::Command::kHelp:
      print_text(TextStream::kOutput, help_text(options.help_topic));
      return WRENFALL_OK;
    case CtlOptions::Command::kVersion:
      print_text(TextStream::kOutput, "wrenfallctl " WRENFALL_VERSION_TEXT "\n");
      return WRENFALL_OK;
    case CtlOptions::Command::kList:
      return list(options, store_of(options));
    case CtlOptions::Command::kShow:
    case CtlOptions::Command::kStack:
    case CtlOptions::Command::kOpen:
    case CtlOptions::Command::kExport:
      return run_report_command(options, store_of(options));
    case CtlOptions::Command::kSend:
      return send(options, store_of(options));
    case CtlOptions::Command::kDiscard:
      return discard(options, store_of(options));
    case CtlOptions::Command::kPrune:
      return prune(options, store_of(options));
    case CtlOptions::Command::kTail:
      return tail(options, store_of(options));
    default:
      print_text(TextStream::kError, "wrenfallctl: " + escape_for_terminal(options.error) +
                                         "\nwrenfallctl --help explains the arguments.\n");
      return WRENFALL_ERROR_INVALID_ARGUMENT;
  }
}

}  // namespace wrenfall::ctl
