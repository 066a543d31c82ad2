#include "upload/report_archive.h"

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

const std::vector<std::string> kExcluded = {"WrenfallCrashData.json", "WrenfallCrash.zip",
                                            "result.json"};

// What is in other archives is read where they are received.
TEST(ReportArchive, WithNothingToPackIsOnlyAnEndRecord) {
  const TempDir dir;
  const fs::path folder = dir.make_folder("report");
  for (const std::string& name : kExcluded) put_file(folder / name, "x");
  ASSERT_TRUE(write_report_archive(folder, folder / "WrenfallCrash.zip", kExcluded));
  EXPECT_EQ(file_text(folder / "WrenfallCrash.zip"), "PK\5\6" + std::string(18, '\0'));
}

TEST(ReportArchive, FailsWhereTheArchiveCannotBeOpened) {
  const TempDir dir;
  put_file(dir / "file", "x");
  fs::create_directories(dir.path() / "taken.zip" / "in the way");
  EXPECT_FALSE(write_report_archive(dir.path(), dir / "taken.zip", {}));
  EXPECT_FALSE(write_report_archive(dir.path(), dir.path() / "missing" / "a.zip", {}));
}

}  // namespace
}  // namespace wrenfall
