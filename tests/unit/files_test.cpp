#include "support/files.h"

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

const std::string kAnyBytes("a\0b\r\n\n\x1A\xFFz", 9);

TEST(Files, AtomicWriteReplacesTheWholeFileAndIsReadBack) {
  const TempDir dir;
  const fs::path target = dir.path() / "new" / "folders" / "result.json";
  const fs::path temporary = dir.path() / "new" / "folders" / "result.json.tmp";
  std::string read = "old";
  for (const std::string& bytes : {std::string(100000, 'l') + "y", kAnyBytes, std::string()}) {
    EXPECT_TRUE(write_file_atomic(target, bytes));
    EXPECT_EQ(file_text(target), bytes);
    EXPECT_TRUE(read_file(target, read));
    EXPECT_EQ(read, bytes);
    EXPECT_FALSE(fs::exists(temporary));
  }
  // A file that an interrupted write left is overwritten.
  put_file(temporary, std::string(90000, 'o'));
  EXPECT_TRUE(write_file_atomic(target, "short"));
  EXPECT_EQ(file_text(target), "short");
  EXPECT_FALSE(read_file(dir / "missing", read));
  EXPECT_FALSE(read_file(dir.path(), read)) << "a folder";
}

TEST(Files, AtomicWriteFailsWhereNothingCanBeWritten) {
  const TempDir dir;
  put_file(dir / "file", "kept");
  dir.make_folder("folder");
  dir.make_folder("blocked.tmp");
  put_file(dir / "blocked", "kept");
  EXPECT_FALSE(write_file_atomic(dir.path() / "file" / "below", "x"));
  EXPECT_FALSE(write_file_atomic(dir / "folder", "x"));
  EXPECT_TRUE(fs::is_directory(dir / "folder"));
  EXPECT_FALSE(fs::exists(dir / "folder.tmp")) << "the temporary file of the fall-back stayed";
  EXPECT_FALSE(write_file_atomic(dir / "blocked", "x"));
  EXPECT_EQ(file_text(dir / "file"), "kept");
  EXPECT_EQ(file_text(dir / "blocked"), "kept");
}

}  // namespace
}  // namespace wrenfall
