#include <gtest/gtest.h>

#include <algorithm>

#include "ctl/ctl_options.h"
#include "ctl/ctl_output.h"
#include "ctl/log_tail.h"
#include "ctl/output_text.h"
#include "ctl/progress_text.h"
#include "support/text.h"

namespace wrenfall {
namespace {

using Command = CtlOptions::Command;

TEST(CtlOptions, Commands) {
  const struct {
    std::vector<std::string> arguments;
    Command command;
    const char* error;  // a part of it
  } rows[] = {
      {{"list", "--store", "C:\\a b"}, Command::kList, ""},
      {{"--store=C:\\a b", "list", "--json"}, Command::kList, ""},
      {{"list", "--app", "A", "--version", "1"}, Command::kList, ""},
      {{"list", "--app", "A"}, Command::kUnusable, "belong together"},
      {{"list", "--version", "1"}, Command::kUnusable, "belong together"},
      {{"list", "--store", "s", "--app", "A", "--version", "1"}, Command::kUnusable, "exclude"},
      {{"list", "--store"}, Command::kUnusable, "--store needs a value"},
      {{"list"}, Command::kUnusable, "which store"},
      {{"list", "--store", "s", "x"}, Command::kUnusable, "no folder"},
      {{"show", "f"}, Command::kShow, ""},
      {{"show", "f", "g"}, Command::kUnusable, "one report folder"},
      {{"show", ""}, Command::kUnusable, "empty"},
      {{"send", "f", "g"}, Command::kSend, ""},
      {{"send", "--all", "--store", "s", "--progress"}, Command::kSend, ""},
      {{"send", "--all"}, Command::kUnusable, "which store"},
      {{"send", "--all", "f", "--store", "s"}, Command::kUnusable, "or --all"},
      {{"send", "--store", "s"}, Command::kUnusable, "or --all"},
      {{"discard", "--", "--all"}, Command::kDiscard, ""},
      {{"discard", "--all", "--store", "s"}, Command::kUnusable, "belongs to send"},
      {{"tail", "--store", "s", "-n", "3", "--follow"}, Command::kTail, ""},
      {{"tail", "--store", "s", "-n", "-3"}, Command::kUnusable, "number of lines"},
      {{"tail", "--store", "s", "-n", "99999999999999999999"}, Command::kUnusable, "number"},
      {{"list", "--store", "s", "-n", "3"}, Command::kUnusable, "belong to tail"},
      {{"List"}, Command::kUnusable, "unknown command List"},
      {{"--verbose", "list"}, Command::kUnusable, "unknown option --verbose"},
      {{}, Command::kUnusable, "no command"},
      {{"--version"}, Command::kVersion, ""},
      {{"send", "--help"}, Command::kHelp, ""},
  };
  for (const auto& row : rows) {
    const CtlOptions options = parse_ctl_options(row.arguments);
    const std::string label = ::testing::PrintToString(row.arguments);
    EXPECT_EQ(options.command, row.command) << label << options.error;
    EXPECT_EQ(options.error.empty(), *row.error == '\0') << label << options.error;
    EXPECT_NE(options.error.find(row.error), std::string::npos) << label << options.error;
  }
}

TEST(OutputText, HoldsNoCharacterThatMovesTheTerminal) {
  const struct {
    std::string text;
    const char* shown;
  } rows[] = {
      {"plain \xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80",
       "plain \xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80"},
      {"\x1B[2J", "\\u001b[2J"},
      {"a\r\nb\tc\x7F", "a\\u000d\\u000ab\\u0009c\\u007f"},
      {"\xC2\x9B"
       "31m\xC2\xA0",
       "\\u009b31m\xC2\xA0"},
      {"\xE2\x80\xAE"
       "abc\xE2\x81\xA9",
       "\\u202eabc\\u2069"},
      {"bad \xFF\xC3", "bad \xEF\xBF\xBD\xEF\xBF\xBD"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(shown(row.text), row.shown);
    const std::string line = json_line({{"k", row.text}});
    EXPECT_EQ(line.find_first_of("\x1B\x7F\r\t"), std::string::npos) << line;
    EXPECT_EQ(line.find("\xC2\x9B"), std::string::npos) << line;
    // It still says what it said.
    EXPECT_EQ(shown(nlohmann::json::parse(line)["k"].get<std::string>()), row.shown);
  }
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
}

TEST(LogTail, TakesLinesApart) {
  const struct {
    const char* line;
    LogLine parts;
  } rows[] = {
      {"[2026-01-31 23:59:59] [12] WARN a [b] c", {"2026-01-31 23:59:59", "12", "WARN", "a [b] c"}},
      {"[t] [1] INFO \r", {"t", "1", "INFO", ""}},
      {"[t] [1] SHOUT x", {"", "", "", "[t] [1] SHOUT x"}},
      {"[t] no", {"", "", "", "[t] no"}},
      {"", {}},
  };
  for (const auto& row : rows) {
    const LogLine parts = parse_log_line(row.line);
    EXPECT_EQ(parts.time, row.parts.time) << row.line;
    EXPECT_EQ(parts.pid, row.parts.pid) << row.line;
    EXPECT_EQ(parts.level, row.parts.level) << row.line;
    EXPECT_EQ(parts.message, row.parts.message) << row.line;
  }
}

TEST(LogTail, FindsTheLastLines) {
  const std::string wide(100000, 'w');
  const struct {
    std::string text;
    uint64_t lines;
    uint64_t start;
  } rows[] = {
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
  for (const auto& row : rows) {
    const auto read = [&row](uint64_t offset, void* buffer, size_t size) {
      return row.text.copy(static_cast<char*>(buffer), size, static_cast<size_t>(offset)) == size;
    };
    EXPECT_EQ(start_of_last_lines(read, row.text.size(), row.lines), row.start)
        << row.text.substr(0, 20) << row.lines;
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

ActionOutcome outcome_of(const char* name, wrenfall_result result, int32_t http, bool kept) {
  ActionOutcome outcome;
  outcome.folder = name;
  outcome.upload.result = result;
  outcome.upload.httpStatus = http;
  outcome.kept = kept;
  return outcome;
}

TEST(CtlOutput, TheExitCodeIsTheFirstFailure) {
  const auto good = outcome_of("a", WRENFALL_OK, 200, false);
  const auto rejected = outcome_of("b", WRENFALL_ERROR_REJECTED, 429, false);
  const auto down = outcome_of("c", WRENFALL_ERROR_SERVICE, 503, true);
  EXPECT_EQ(result_of({}), WRENFALL_OK);
  EXPECT_EQ(result_of({good, good}), WRENFALL_OK);
  EXPECT_EQ(result_of({good, rejected, down}), WRENFALL_ERROR_REJECTED);
  EXPECT_EQ(result_of({down, rejected}), WRENFALL_ERROR_SERVICE);
}

TEST(CtlOutput, SaysWhetherAReportIsKept) {
  for (const wrenfall_result result :
       {WRENFALL_ERROR_INVALID_ARGUMENT, WRENFALL_ERROR_FILE, WRENFALL_ERROR_TRANSPORT,
        WRENFALL_ERROR_SERVICE, WRENFALL_ERROR_REJECTED}) {
    const std::string deleted = advice_after_send(outcome_of("r", result, 0, false));
    const std::string kept = advice_after_send(outcome_of("r", result, 503, true));
    EXPECT_NE(deleted.find("was deleted"), std::string::npos) << deleted;
    EXPECT_NE(kept.find("is kept"), std::string::npos) << kept;
  }
}

}  // namespace
}  // namespace wrenfall
