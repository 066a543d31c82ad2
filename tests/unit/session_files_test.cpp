#include "report/store/session_files.h"

#include <gtest/gtest.h>

#include "support/files.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

TEST(SessionFiles, SweepLeavesWhatRunningProcessesOwn) {
  const TempDir dir;
  sweep_sessions(dir.path());
  EXPECT_TRUE(fs::is_empty(dir.path())) << "the sweep made a folder";

  const std::string own = std::to_string(current_process_id());
  const std::string alive = "{\"pid\":" + own + ",\"startTime\":1}";
  const std::string dead = R"({"pid":4294967292,"startTime":1,"attachments":[]})";
  const struct {
    std::string name, text;
    bool stays;
  } cases[] = {{own + "-1.json", alive, true},
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
  for (const auto& c : cases) put_file(sessions / c.name, c.text);
  put_file(dir / "outside.json", dead);
  sweep_sessions(dir.path());
  for (const auto& c : cases) EXPECT_EQ(fs::exists(sessions / c.name), c.stays) << c.name;
  EXPECT_TRUE(fs::exists(dir / "outside.json"));
}

TEST(SessionFiles, ReadsNoMoreThanTheLibraryWrites) {
  const TempDir dir;
  SessionRecord record{{1, 2}, std::vector<std::string>(30, "a")};
  ASSERT_TRUE(write_session(dir.path(), record));
  const fs::path file = session_file(dir.path(), record.process);
  ASSERT_TRUE(read_session(file));
  EXPECT_EQ(read_session(file)->attachments.size(), 24u);
  put_file(file, file_text(file) + std::string(1 << 20, ' '));
  EXPECT_FALSE(read_session(file));
}

TEST(SessionFiles, SweepKeepsTheAttachmentsOfDumpsThatWait) {
  const struct {
    const char* dump;
    bool kept;
    bool full = false;  // as on a full disk, the list can be kept nowhere else
  } rows[] = {{"crashpad/reports/1.dmp", true}, {"crashpad/reports/1.dmp", false, true},
              {"half made/minidump.dmp", true}, {"complete/minidump.dmp", false},
              {"crashpad/minidump.dmp", false}, {"notes.txt", false}};
  for (const auto& row : rows) {
    const TempDir dir;
    dir.make_folder("crashpad/reports");
    if (row.full) dir.add("crashpad/sessions", "in the way");
    dir.add("complete/WrenfallCrashData.json", "{}");
    dir.add(row.dump, "x");
    const SessionRecord dead{{4294967292, 1}, {"a"}};
    ASSERT_TRUE(write_session(dir.path(), dead));
    sweep_sessions(dir.path());
    EXPECT_EQ(path_exists(session_file(dir.path(), dead.process)), row.full) << row.dump;
    EXPECT_EQ(path_exists(kept_session_file(dir.path(), dead.process)), row.kept) << row.dump;
  }
}

}  // namespace
}  // namespace wrenfall
