#include "upload/report_archive.h"

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/support/zip_reader.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

const std::vector<std::string> kExcluded = {"WrenfallCrashData.json", "WrenfallCrash.zip",
                                            "result.json"};
constexpr uint16_t kUtf8Names = 1 << 11;

std::vector<std::string> names_of(const std::vector<ZipEntry>& entries) {
  std::vector<std::string> names;
  for (const ZipEntry& entry : entries) names.push_back(entry.name);
  return names;
}

TEST(ReportArchive, HoldsTheFilesInTheOrderOfTheirNames) {
  const TempDir dir;
  const std::pair<std::string, std::string> files[] = {
      {"B", "x"},
      {"Result.json", "abc"},
      {"WrenfallCrash.zip.bak", ""},
      {"a", std::string("\0\xFF\n", 3)},
      {"b c", std::string(300000, 'l')},
      {"résumé", "yz"},
  };
  for (const auto& [name, bytes] : files) put_file(dir / utf8_to_path(name), bytes);
  put_file(dir / "WrenfallCrashData.json", "{}");
  put_file(dir.path() / "sub" / "inside", "not packed");
  const fs::path archive = dir / "WrenfallCrash.zip";
  put_file(archive, std::string(400000, 'o'));

  for (int run = 0; run < 2; ++run) {
    ASSERT_TRUE(write_report_archive(dir.path(), archive, kExcluded));
    const auto entries = read_zip(file_text(archive));
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), std::size(files)) << ::testing::PrintToString(names_of(*entries));
    for (size_t i = 0; i < entries->size(); ++i) {
      const auto& [name, bytes] = files[i];
      const ZipEntry& entry = (*entries)[i];
      EXPECT_EQ(entry.name, name);
      EXPECT_EQ(entry.size, bytes.size()) << name;
      EXPECT_EQ(entry.crc, crc32_of(bytes)) << name;
      EXPECT_EQ(entry.flags & kUtf8Names, kUtf8Names) << name;
      // What does not get smaller is stored.
      if (bytes.size() <= 3) {
        EXPECT_EQ(entry.method, 0) << name;
        EXPECT_EQ(entry.stored_bytes, bytes) << name;
      } else {
        EXPECT_EQ(entry.method, 8) << name;
        EXPECT_LT(entry.packed_size, 2000u) << name;
      }
    }
  }
}

TEST(ReportArchive, WithNothingToPackIsOnlyAnEndRecord) {
  const TempDir dir;
  const fs::path folder = dir.make_folder("report");
  for (const std::string& name : kExcluded) put_file(folder / name, "x");
  ASSERT_TRUE(write_report_archive(folder, folder / "WrenfallCrash.zip", kExcluded));
  EXPECT_EQ(file_text(folder / "WrenfallCrash.zip"), "PK\5\6" + std::string(18, '\0'));
}

TEST(ReportArchive, ExclusionIsByTheExactName) {
  const TempDir dir;
  const fs::path folder = dir.make_folder("report");
  for (const char* name : {"Skip.txt", "skip.txt2", "kip.txt", "skip", "keep"}) {
    put_file(folder / name, "x");
  }
  ASSERT_TRUE(write_report_archive(folder, dir / "a.zip", {"skip.txt", "keep"}));
  const auto entries = read_zip(file_text(dir / "a.zip"));
  ASSERT_TRUE(entries);
  EXPECT_EQ(names_of(*entries),
            (std::vector<std::string>{"Skip.txt", "kip.txt", "skip", "skip.txt2"}));
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
