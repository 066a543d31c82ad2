#include "ctl/ctl_help.h"

namespace wrenfall::ctl {
namespace {

using Command = CtlOptions::Command;

constexpr char kOverview[] =
    "wrenfallctl looks after the crash reports in a Wrenfall store.\n"
    "\n"
    "  list      the reports, the oldest crash first, or the stores\n"
    "  show      everything about one report\n"
    "  stack     where one crashed: functions, files and lines\n"
    "  open      shows a report's folder in the file manager\n"
    "  export    packs a report with its record into a ZIP file\n"
    "  send      sends reports\n"
    "  discard   deletes reports without sending them\n"
    "  prune     removes the oldest reports\n"
    "  tail      the last lines of the store's log, and those to come\n"
    "\n"
    "  COMMAND --help             what the command takes\n"
    "  --store DIR                the store\n"
    "  --app NAME --version V     the default store of that application\n"
    "  --json                     one JSON document; for tail one object a line\n"
    "  --help, --version          print this text or the version\n"
    "\n"
    "The exit code is 0 when all was done, 1 for unusable arguments, else the wrenfall_result of\n"
    "the first failure.\n";

constexpr char kStore[] =
    "STORE is --store DIR, or --app NAME --version V for the default store of that application.\n";

constexpr char kFolder[] =
    "FOLDER is a path or, with STORE, a name in the store or the start of one. --latest takes the\n"
    "report of the newest crash in the store instead.\n";

// What is printed about a command: its text, and which of the explanations above follow.
struct CommandHelp {
  Command command;
  const char* text;
  bool explains_folder;
};

constexpr CommandHelp kHelp[] = {
    {Command::kList,
     "wrenfallctl list STORE [--json]\n"
     "wrenfallctl list --stores [--json]\n"
     "\n"
     "Prints a line for each report, the oldest crash first, and folders without a record last:\n"
     "its state, kind, time, size, failed attempts, policy and folder. With --stores it finds the\n"
     "stores in the default place.\n",
     false},
    {Command::kShow,
     "wrenfallctl show FOLDER [--stack [--symbols DIR[;DIR]]] [--json]\n"
     "wrenfallctl show --latest STORE ...\n"
     "\n"
     "Prints the record, the last attempt's result, the exception, the annotations and the files\n"
     "of one report. With --stack also where it crashed, as the command \"stack\" does.\n",
     true},
    {Command::kStack,
     "wrenfallctl stack FOLDER|DUMP [--all] [--symbols DIR[;DIR]] [--json]\n"
     "wrenfallctl stack --latest STORE ...\n"
     "\n"
     "Prints the calls of the thread that crashed or hung, the innermost first. DUMP is a "
     "minidump\n"
     "file; a folder needs no record.\n"
     "\n"
     "  --all                every thread\n"
     "  --symbols DIR[;DIR]  folders that hold the EXE and DLL files of the build that crashed, "
     "and\n"
     "                       their PDB or .debug files. They are looked for in _NT_SYMBOL_PATH "
     "and\n"
     "                       where they were on the machine of the crash, too\n"
     "\n"
     "Without symbols there are modules and offsets. What is missing or damaged in the dump costs "
     "a\n"
     "warning, and the exit code is 0.\n",
     true},
    {Command::kOpen,
     "wrenfallctl open FOLDER\n"
     "wrenfallctl open --latest STORE\n"
     "\n"
     "Shows the report's folder in the file manager.\n",
     true},
    {Command::kExport,
     "wrenfallctl export FOLDER FILE.zip [--force] [--json]\n"
     "wrenfallctl export --latest STORE FILE.zip ...\n"
     "\n"
     "Packs the files of a report with its record, for a colleague: unpacked into an empty folder\n"
     "it can be shown, and sent, as before. The report stays where it is. A file that is there\n"
     "already is replaced with --force alone. A report that is being sent is refused.\n",
     true},
    {Command::kSend,
     "wrenfallctl send FOLDER... [--progress] [--json]\n"
     "wrenfallctl send --all [--now] STORE ...\n"
     "\n"
     "Sends these reports, or all that are pending or due; with --now also those that wait for a\n"
     "later attempt. --progress shows the progress even when standard error is no console.\n"
     "\n"
     "Sending deletes the report, unless the service answers 500, 502, 503 or 504: then it is "
     "kept,\n"
     "at most twice. A report stays pending when the service cannot be reached or its files "
     "cannot\n"
     "be read; --all then stops at a service that cannot be reached. Where the application turned\n"
     "resending on, a report that may arrive another time is kept for up to 30 attempts instead.\n"
     "While the user refuses consent nothing is sent, and the exit code is 13.\n",
     false},
    {Command::kDiscard,
     "wrenfallctl discard FOLDER... [--json]\n"
     "\n"
     "Deletes reports without sending them. With STORE any folder in it but the library's own,\n"
     "elsewhere only folders that hold a record. A report that is being sent is refused.\n",
     false},
    {Command::kPrune,
     "wrenfallctl prune STORE LIMIT... [--dry-run] [--json]\n"
     "\n"
     "Removes the oldest reports until the rest is within the limits:\n"
     "  --max-reports N, --max-age DAYS, --max-bytes N\n"
     "With --dry-run it only says which would be removed.\n",
     false},
    {Command::kTail,
     "wrenfallctl tail STORE [-n N] [--follow] [--json]\n"
     "\n"
     "Prints the last N lines (10) of the store's log, and with --follow those to come.\n",
     false},
};

}  // namespace

std::string help_text(Command command) {
  for (const CommandHelp& help : kHelp) {
    if (help.command != command) continue;
    return std::string(help.text) + "\n" + (help.explains_folder ? kFolder : "") + kStore;
  }
  return kOverview;
}

}  // namespace wrenfall::ctl
