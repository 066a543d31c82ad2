#include "support/logger.h"

#include <gtest/gtest.h>

#include <regex>

#include "support/log_line.h"
#include "support/process.h"
#include "tests/support/capture_log.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

using Lines = std::vector<std::string>;

TEST(Logger, WritesNamedLevelsAndPassesNumbersOn) {
  const TempDir dir;
  const std::pair<wrenfall_log_level, std::string> cases[] = {
      {0, "DEBUG"}, {1, "INFO"}, {2, "WARN"}, {3, "ERROR"}, {7, "INFO"}, {-1, "INFO"}, {4, "INFO"}};
  for (const auto& [level, name] : cases) {
    const auto path = dir / (std::to_string(level) + ".log");
    CaptureLog log(path);
    log.logger.log(level, "%s has %d", R"(C:\Users\jane\x)", 5);
    EXPECT_EQ(log.lines, Lines{std::to_string(level) + R"( C:\Users\...\x has 5)"});
    const std::regex line(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] \[)" +
                          std::to_string(current_process_id()) + R"(\] )" + name +
                          R"( C:\\Users\\\.\.\.\\x has 5)" + "\n");
    EXPECT_TRUE(std::regex_match(file_text(path), line)) << level << ": " << file_text(path);
  }
}

TEST(Logger, CutsTo4095BytesBeforeScrubbing) {
  const std::string name(5000, 'n');
  const std::pair<std::string, std::string> cases[] = {
      {std::string(4095, 'x'), std::string(4095, 'x')},
      {std::string(5000, 'x'), std::string(4095, 'x')},
      {std::string(4094, 'x') + "\xC3\xBC", std::string(4094, 'x') + "\xEF\xBF\xBD"},
      {"raw \xFF, whole \xC3\xBC", "raw \xEF\xBF\xBD, whole \xC3\xBC"},
      // Scrubbed first, the tail would have fitted in.
      {"/home/" + name + "/tail", "/home/..."},
      // Cut in front of the name, of which nothing is left to scrub, and behind its first letter.
      {std::string(4089, 'x') + "/home/jane", std::string(4089, 'x') + "/home/"},
      {std::string(4088, 'x') + "/home/jane", std::string(4088, 'x') + "/home/..."}};
  for (const auto& [message, logged] : cases) {
    CaptureLog log;
    log.logger.info("%s", message.c_str());
    EXPECT_EQ(log.lines, Lines{"1 " + logged}) << message.substr(0, 20);
  }
}

TEST(Logger, MessageStaysOnItsLine) {
  const std::pair<std::string, std::string> cases[] = {
      {"a\nb\r\nc\td", "a b  c d"},
      {"bell\x07, escape\x1b[2J, delete\x7f", "bell , escape [2J, delete "},
      {"next line \xC2\x85, order \xC2\x9B"
       "2J",
       "next line  , order  2J"},
      {"separators \xE2\x80\xA8 and \xE2\x80\xA9", "separators   and  "},
      {"kept: \xC2\xA0 \xC3\x9B \xE2\x80\xA7 \xE2\x82\xA8 \xC2",
       "kept: \xC2\xA0 \xC3\x9B \xE2\x80\xA7 \xE2\x82\xA8 \xC2"},
      {"cut \xE2\x80", "cut \xE2\x80"},
      {"[2030-01-01 00:00:00] [1] ERROR x\n[2030", "[2030-01-01 00:00:00] [1] ERROR x [2030"}};
  for (const auto& [message, written] : cases) {
    const std::string line = log_line(1, message);
    EXPECT_EQ(line.substr(line.find("INFO ") + 5), written + "\n") << message;
  }
}

TEST(Logger, WritesToThePathItHasNow) {
  const TempDir dir;
  CaptureLog log;
  log.logger.info("to the callback alone");
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
  log.logger.set_path(dir / "missing" / "a.log");
  log.logger.info("cannot be written");
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
  EXPECT_EQ(log.lines.size(), 2u);
  Logger().info("neither callback nor path");
  for (const char* name : {"a.log", "a.log", "b.log"}) {
    log.logger.set_path(dir / name);
    log.logger.info("line");
  }
  EXPECT_EQ(file_text(dir / "a.log").size(), 2 * file_text(dir / "b.log").size());
}

}  // namespace
}  // namespace wrenfall
