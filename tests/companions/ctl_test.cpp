#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "ctl/ctl_help.h"
#include "ctl/ctl_options.h"
#include "ctl/folder_argument.h"
#include "ctl/log_tail.h"
#include "ctl/output_text.h"
#include "ctl/progress_text.h"
#include "support/text.h"
#include "tests/support/temp_dir.h"

namespace wrenfall::ctl {
namespace {

using Command = CtlOptions::Command;

TEST(CtlOptions, Commands) {
  // The arguments, the command, a part of the error.
  const std::tuple<std::vector<std::string>, Command, const char*> rows[] = {
      {{"--store=C:\\a b", "list", "--json"}, Command::kList, ""},
      {{"list", "--app", "A", "--version", "1"}, Command::kList, ""},
      {{"list", "--app", "A"}, Command::kUnusable, "belong together"},
      {{"list", "--store", "s", "--app", "A", "--version", "1"}, Command::kUnusable, "exclude"},
      {{"list", "--store"}, Command::kUnusable, "--store needs a value"},
      {{"list", "--store", "s", "x"}, Command::kUnusable, "no folder"},
      {{"show", "f", "--stack", "--symbols", "a;b"}, Command::kShow, ""},
      {{"show", "f", "g"}, Command::kUnusable, "show needs one report folder"},
      {{"show", "--latest", "--store", "s"}, Command::kShow, ""},
      {{"show", "--latest"}, Command::kUnusable, "which store"},
      {{"show", "--latest", "--store", "s", "f"}, Command::kUnusable, "one report folder"},
      {{"show", "f", "--symbols=a"}, Command::kUnusable, "--symbols belongs"},
      {{"send", "--latest", "--store", "s"}, Command::kUnusable, "--latest belongs"},
      {{"stack", "f", "--all"}, Command::kStack, ""},
      {{"stack", "f", "--stack"}, Command::kUnusable, "--stack belongs to show"},
      {{"stack", "--all", "--store", "s"}, Command::kUnusable, "one report folder"},
      {{"stack", "f", "--all", "--now"}, Command::kUnusable, "belongs to send --all"},
      {{"export", "f", "x.zip", "--force"}, Command::kExport, ""},
      {{"export", "--latest", "x.zip", "--store", "s"}, Command::kExport, ""},
      {{"export", "f"}, Command::kUnusable, "export needs one report folder"},
      {{"export"}, Command::kUnusable, "the file to write"},
      {{"open", "f"}, Command::kOpen, ""},
      {{"open", "f", "--force"}, Command::kUnusable, "--force belongs"},
      {{"show", ""}, Command::kUnusable, "empty"},
      {{"send", "--all", "--store", "s", "--progress"}, Command::kSend, ""},
      {{"send", "--all", "f", "--store", "s"}, Command::kUnusable, "or --all"},
      {{"send", "--store", "s"}, Command::kUnusable, "or --all"},
      {{"discard", "--", "--all"}, Command::kDiscard, ""},
      {{"discard", "--all", "--store", "s"}, Command::kUnusable, "belongs to send"},
      {{"tail", "--store", "s", "-n", "3", "--follow"}, Command::kTail, ""},
      {{"tail", "--store", "s", "-n", "99999999999999999999"}, Command::kUnusable, "number"},
      {{"list", "--store", "s", "-n", "3"}, Command::kUnusable, "belong to tail"},
      {{"list", "--stores"}, Command::kList, ""},
      {{"list", "--stores", "--store", "s"}, Command::kUnusable, "takes none"},
      {{"send", "--now", "f"}, Command::kUnusable, "belongs to send --all"},
      {{"prune", "--store", "s", "--max-age=30", "--dry-run"}, Command::kPrune, ""},
      {{"prune", "--store", "s"}, Command::kUnusable, "prune needs"},
      {{"prune", "--store", "s", "--max-bytes", "1k"}, Command::kUnusable, "needs a number"},
      {{"prune", "--max-age", "1"}, Command::kUnusable, "which store"},
      {{"list", "--store", "s", "--max-age", "1"}, Command::kUnusable, "belong to prune"},
      {{"List"}, Command::kUnusable, "unknown command List"},
      {{"--verbose", "list"}, Command::kUnusable, "unknown option --verbose"},
      {{"send", "--help"}, Command::kHelp, ""},
  };
  for (const auto& [arguments, command, error] : rows) {
    const CtlOptions options = parse_ctl_options(arguments);
    const std::string label = ::testing::PrintToString(arguments) + options.error;
    EXPECT_EQ(options.command, command) << label;
    EXPECT_EQ(options.error.empty(), *error == '\0') << label;
    EXPECT_NE(options.error.find(error), std::string::npos) << label;
  }
}

TEST(CtlHelp, IsOfTheCommand) {
  EXPECT_EQ(parse_ctl_options({"stack", "--help"}).help_topic, Command::kStack);
  EXPECT_EQ(parse_ctl_options({"--help"}).help_topic, Command::kUnusable);
  const std::string overview = help_text(Command::kUnusable);
  for (const char* name :
       {"list", "show", "stack", "open", "export", "send", "discard", "prune", "tail"}) {
    const CtlOptions options = parse_ctl_options({name, "--help"});
    EXPECT_EQ(help_text(options.help_topic).find(std::string("wrenfallctl ") + name), 0u) << name;
    EXPECT_NE(overview.find(std::string("\n  ") + name + " "), std::string::npos) << name;
    // These go by the time of the crash, not of the report.
    for (const char* vague : {"newest report", "oldest first"}) {
      EXPECT_EQ(help_text(options.help_topic).find(vague), std::string::npos) << name;
    }
  }
}

TEST(FolderArgument, IsANameTheStartOfOneOrAPath) {
  const TempDir folder;
  const std::filesystem::path store = folder.path();
  for (const char* name : {"5f0c2c9e", "5f0c", "5Fff-1", "crashpad", "sessions", "sending-1"}) {
    folder.make_folder(name);
  }
  folder.add("5fff-1.sending", "");
  const struct {
    const char* argument;
    const char* found;
    bool fits_several = false;
  } rows[] = {
      {"5f0c2", "5f0c2c9e"}, {"5f0c", "5f0c"}, {"5ff", "5Fff-1"},  {"5f", "5f", true},
      {"s", "sending-1"},    {"cra", "cra"},   {"other", "other"}, {"5f0c2/", "5f0c2c9e"},
  };
  for (const auto& row : rows) {
    const FolderArgument found = find_report_folder(store, row.argument);
    EXPECT_EQ(found.folder, store / row.found) << row.argument;
    EXPECT_EQ(found.error.empty(), !row.fits_several) << found.error;
  }
  // A path is never completed.
  const std::string path = path_to_utf8(store / "5f0c2");
  EXPECT_EQ(find_report_folder(store, path).folder, store / "5f0c2");
  EXPECT_EQ(find_report_folder("", "5f0c2").folder, std::filesystem::current_path() / "5f0c2");
}

TEST(OutputText, Tables) {
  EXPECT_EQ(table({{"A", "BB", "C"}, {"\xC3\xBC\xC3\xBC", "b", "c"}, {"x"}}),
            "A   BB  C\n\xC3\xBC\xC3\xBC  b   c\nx\n");
}

TEST(ProgressText, SpeaksInSteps) {
  ProgressText lines(false);
  std::string text;
  for (uint64_t upload = 0; upload < 2; ++upload) {
    for (uint64_t sent = 0; sent <= 2048; sent += 64) text += lines.update("r", sent, 2048);
  }
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 22);
  EXPECT_EQ(text.substr(0, 31), "r: 0 % of 2.0 KB (0 bytes)\nr: 1");
  ProgressText console(true);
  EXPECT_EQ(console.update("r", 0, 0), "\rr: 100 % of 0 bytes (0 bytes)   \n");
  EXPECT_EQ(console.update("r", 1, ~uint64_t{0}), "\rr: 0 % of 16777216.0 TB (1 bytes)   ");
  EXPECT_EQ(console.update("r", 2, ~uint64_t{0}), "");
  EXPECT_EQ(console.update("s", 0, 2048), "\rs: 0 % of 2.0 KB (0 bytes)   ");
}

TEST(LogTail, FindsTheLastLines) {
  const std::string wide(100000, 'w');
  const std::tuple<std::string, uint64_t, uint64_t> rows[] = {
      // text, lines, start
      {"", 3, 0},
      {"a\nb\nc\n", 2, 2},
      {"a\nb\nc", 2, 2},
      {"a\nb\nc\n", 3, 0},
      {"a\nb\n", 9, 0},
      {"a\nb\n", 0, 4},
      {"a\n\n\n", 2, 2},
      {"a\n" + wide + "\nb\n", 2, 2},
      {wide + "\n" + wide, 1, 100001},
  };
  for (const auto& [text, lines, start] : rows) {
    const auto read = [&whole = text](uint64_t offset, void* buffer, size_t size) {
      return whole.copy(static_cast<char*>(buffer), size, static_cast<size_t>(offset)) == size;
    };
    EXPECT_EQ(start_of_last_lines(read, text.size(), lines), start) << text.substr(0, 20) << lines;
  }
}

TEST(LogTail, PutsPiecesTogether) {
  LineSplitter splitter;
  EXPECT_EQ(splitter.add("a\nb"), std::vector<std::string>{"a"});
  EXPECT_EQ(splitter.add("c\n\nd"), (std::vector<std::string>{"bc", ""}));
  EXPECT_EQ(splitter.rest(), "d");
  // A line without an end does not fill the memory.
  std::vector<size_t> lengths;
  for (int i = 0; i < 4; ++i) {
    for (const auto& line : splitter.add(std::string(40000, 'x'))) lengths.push_back(line.size());
  }
  EXPECT_EQ(lengths, (std::vector<size_t>{65536, 65536}));
  EXPECT_EQ(splitter.rest().size(), 160000u - 2 * 65536);
}

}  // namespace
}  // namespace wrenfall::ctl
