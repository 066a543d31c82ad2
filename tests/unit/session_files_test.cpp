#include "report/session_files.h"

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

TEST(SessionFiles, HaveThisNameAndText) {
  const TempDir dir;
  const SessionTag tag{1234, 133500000000000007u};
  const fs::path path = dir.path() / "sessions" / "1234-133500000000000007.json";
  const std::vector<std::string> attachments = {"C:\\z", "é 試", "a"};
  ASSERT_TRUE(write_session(dir.path(), {tag, attachments}));
  EXPECT_EQ(file_text(path),
            R"({"attachments":["C:\\z","é 試","a"],"pid":1234,"startTime":133500000000000007})");
  const auto read = read_session(path);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->session.text(), tag.text());
  EXPECT_EQ(read->attachments, attachments);

  ASSERT_TRUE(write_session(dir.path(), {tag, {}}));
  EXPECT_EQ(file_text(path), R"({"attachments":[],"pid":1234,"startTime":133500000000000007})");
  remove_session(dir.path(), {1234, 0});
  EXPECT_TRUE(fs::exists(path)) << "another session's file was removed";
  remove_session(dir.path(), tag);
  EXPECT_FALSE(fs::exists(path));
}

TEST(SessionFiles, ParseTakesOnlySessions) {
  for (const char* text :
       {R"({"pid":"7"})", R"({"pid":-7})", R"({"startTime":8})", "{}", "[7]", "", R"({"pid":7)"}) {
    EXPECT_FALSE(parse_session(text)) << text;
  }
  const auto odd = parse_session(
      R"({"pid":18446744073709551615,"startTime":"8","attachments":["a",1,null,"b"]})");
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->session.text(), "18446744073709551615-0");
  EXPECT_EQ(odd->attachments, (std::vector<std::string>{"a", "b"}));
}

TEST(SessionFiles, SweepLeavesWhatRunningProcessesOwn) {
  const TempDir dir;
  sweep_sessions(dir.path());
  EXPECT_TRUE(fs::is_empty(dir.path())) << "the sweep made a folder";

  const std::string own = std::to_string(current_process_id());
  const std::string alive = "{\"pid\":" + own + ",\"startTime\":1}";
  const std::string dead = R"({"pid":4294967292,"startTime":1,"attachments":[]})";
  struct Case {
    std::string name, text;
    bool stays;
  };
  const Case cases[] = {{own + "-1.json", alive, true},
                        {"named otherwise.json", alive, true},
                        {"4294967292-1.json", dead, false},
                        {own + "-2.json", dead, false},
                        {"0-0.json", R"({"pid":0,"startTime":0})", false},
                        {own + "-3.json", alive.substr(0, alive.size() - 1), false},
                        {own + "-4.json", "", false},
                        {"notes.txt", "anything", false},
                        // Replacements on their way: the writer's id is in the name.
                        {own + "-5.json.tmp", alive.substr(0, 4), true},
                        {"4294967292-5.json.tmp", alive, false},
                        {"x.tmp", alive, false}};
  const fs::path sessions = dir.path() / "sessions";
  for (const Case& c : cases) put_file(sessions / c.name, c.text);
  put_file(dir / "outside.json", dead);
  sweep_sessions(dir.path());
  for (const Case& c : cases) EXPECT_EQ(fs::exists(sessions / c.name), c.stays) << c.name;
  EXPECT_TRUE(fs::exists(dir / "outside.json"));
}

}  // namespace
}  // namespace wrenfall
