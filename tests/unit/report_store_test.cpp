#include "report/store/report_store.h"

#include <gtest/gtest.h>

#include <chrono>

#include "report/store/pending_reports.h"
#include "report/store/report_files.h"
#include "support/files.h"
#include "tests/support/temp_dir.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

TEST(ReportStore, OwnFoldersAreNoReports) {
  const TempDir dir;
  for (const char* name : {"crashpad", "sessions", "a report"}) {
    dir.add(std::string(name) + "/WrenfallCrashData.json", "{}");
  }
  EXPECT_EQ(list_report_folders(dir.path()), std::vector<fs::path>{dir / "a report"});
  for (const fs::path& own : {dir / "crashpad", dir.path() / "sessions" / ""}) {
    EXPECT_FALSE(discard_report_folder(dir.path(), own)) << own;
    EXPECT_TRUE(path_exists(own / "WrenfallCrashData.json")) << own;
  }
  EXPECT_TRUE(discard_report_folder(dir.path(), dir / "a report"));
}

// A record is read again when it was written since, or when its time might be that of two writes.
TEST(PendingReports, KnowARecordByItsTime) {
  const struct {
    int age_seconds;
    int age_when_written_again;
    bool is_read_again;
  } rows[] = {{3600, 3600, false}, {3600, 3599, true}, {0, 0, true}};
  const TempDir dir;
  const fs::path record = dir.add("a report/WrenfallCrashData.json", "{}");
  for (const auto& row : rows) {
    const auto now = fs::file_time_type::clock::now();
    PendingReports pending(dir.path());
    put_file(record, "{}");
    fs::last_write_time(record, now - std::chrono::seconds(row.age_seconds));
    EXPECT_EQ(pending.list().size(), 1u);
    put_file(record, "damaged");
    fs::last_write_time(record, now - std::chrono::seconds(row.age_when_written_again));
    EXPECT_EQ(pending.list().empty(), row.is_read_again) << row.age_seconds;
  }
}

TEST(ReportStore, RecordsBeyondTheLimitAreDamaged) {
  const TempDir dir;
  const fs::path record = dir.add("WrenfallCrashData.json", "{}");
  CrashData data;
  put_file(record, "{}" + std::string(size_t{kMaxRecordBytes} - 2, ' '));
  EXPECT_EQ(read_record(dir.path(), data), RecordState::kLoaded);
  put_file(record, file_text(record) + " ");
  EXPECT_EQ(read_record(dir.path(), data), RecordState::kDamaged);
  put_file(record, "[]");
  EXPECT_EQ(read_record(dir.path(), data), RecordState::kDamaged);
  fs::remove(record);
  EXPECT_EQ(read_record(dir.path(), data), RecordState::kMissing);
}

TEST(ReportFiles, SendsRegularFilesOnly) {
  const TempDir dir;
  dir.add("b.txt", "2");
  dir.add("A.txt", "1");
  dir.add("folder/c.txt", "3");
  for (const char* own : {"WrenfallCrashData.json", "WrenfallCrash.zip", "result.json"}) {
    dir.add(own, "{}");
  }
  std::error_code no_links_here;
  fs::create_symlink("nowhere", dir / "link", no_links_here);
  const FilesToSend found = files_to_send(dir.path());
  EXPECT_TRUE(found.listed);
  EXPECT_EQ(found.files, (std::vector<fs::path>{dir / "A.txt", dir / "b.txt"}));
  EXPECT_EQ(found.skipped.size(), no_links_here ? 0u : 1u);
  EXPECT_FALSE(files_to_send(dir / "missing").listed);
}

TEST(ReportFiles, StaleTemporariesAreRemoved) {
  const struct {
    const char* name;
    int age_minutes;
    bool stays;
  } rows[] = {{"WrenfallCrashData.json.tmp", 60, false},
              {"wfcrashreport.XML.tmp", 60, false},
              {"wfAttachment.tmp", -60, false},
              {"result.json.tmp", 1, true},
              {"feedback.json", 60, true},
              {"the user's.tmp", 60, true}};
  const TempDir dir;
  for (const auto& row : rows) {
    const fs::path file = dir.add(row.name, "x");
    fs::last_write_time(file,
                        fs::file_time_type::clock::now() - std::chrono::minutes(row.age_minutes));
  }
  remove_stale_temporaries(dir.path());
  for (const auto& row : rows) EXPECT_EQ(path_exists(dir / row.name), row.stays) << row.name;
}

}  // namespace
}  // namespace wrenfall
