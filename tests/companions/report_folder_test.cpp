#include "monitor/report_folder.h"

#include <gtest/gtest.h>

#include <fstream>

#include "minidump_builder.h"
#include "report/store/attachments.h"
#include "support/files.h"
#include "tests/support/temp_dir.h"

namespace wrenfall::monitor {
namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

TEST(ReportFolder, AttachmentsOfTheSameName) {
  Logger logger;
  const TempDir files;
  const Names paths = {
      path_to_utf8(files.add("a/\xC3\x84rger.txt", "1")),
      // The same name to the file system, though not to ASCII rules.
      path_to_utf8(files.add("b/\xC3\xA4rger.txt", "2")),
      path_to_utf8(files.add("b/feedback.json", "3")),
  };
  const bool is_same = fs::exists(files.path() / "A");
  const std::string number = is_same ? " (2)" : "";
  const Names numbered = {"\xC3\x84rger.txt", "\xC3\xA4rger" + number + ".txt",
                          "feedback (2).json"};
  const Names replaced = {"\xC3\x84rger.txt", "feedback (2).json"};
  for (const SameName rule : {SameName::kAddNumber, SameName::kReplace}) {
    const TempDir store;
    store.add("feedback.json", "the report");
    const bool replaces = rule == SameName::kReplace && is_same;
    EXPECT_EQ(copy_attachments(store.path(), paths, rule, logger), replaces ? replaced : numbered);
    EXPECT_EQ(file_text(store.path() / utf8_to_path(numbered[0])), replaces ? "2" : "1");
    EXPECT_EQ(file_text(store.path() / "feedback.json"), "the report");
  }
}

TEST(ReportFolder, AttachmentThatCannotBeCopiedCostsNoOther) {
  const TempDir files;
  Logger logger;
  const std::string first = path_to_utf8(files.add("a/log.txt", "1"));
  fs::create_directories(files.path() / "b" / "LOG.TXT");
  for (const SameName rule : {SameName::kAddNumber, SameName::kReplace}) {
    for (const char* const other : {"b/LOG.TXT", "c/log.txt"}) {
      const TempDir store;
      const Names paths = {first, path_to_utf8(files.path() / other)};
      EXPECT_EQ(copy_attachments(store.path(), paths, rule, logger), Names{"log.txt"}) << other;
      EXPECT_EQ(file_text(store.path() / "log.txt"), "1") << other;
      EXPECT_EQ(list_folder(store.path()).size(), 1u) << other;
    }
  }
}

TEST(ReportFolder, CopyOfAnOldReadOnlyAttachmentIsNewAndCanBeDeleted) {
  const TempDir files;
  const TempDir store;
  Logger logger;
  const fs::path folder = store.path() / "report";
  fs::create_directory(folder);
  const fs::path source = files.add("settings.ini", "x");
  fs::last_write_time(source, fs::file_time_type::clock::now() - std::chrono::hours(1));
  fs::permissions(source, fs::perms::owner_write, fs::perm_options::remove);
  copy_attachments(folder, {path_to_utf8(source)}, SameName::kReplace, logger);
  fs::permissions(source, fs::perms::owner_write, fs::perm_options::add);
  EXPECT_LT(age_of_file(folder / "settings.ini").value(), std::chrono::minutes(10));
  EXPECT_TRUE(remove_folder(folder));
}

TEST(ReportFolder, SecondTryKeepsWhatTheFirstCopied) {
  const TempDir files;
  const TempDir store;
  Logger logger;
  const fs::path folder = store.path() / "report";
  minidump::MinidumpBuilder builder;
  builder.startup = {{"wrenfall.session", "5-6"}};
  store.add("report/log.txt", "half");
  store.add("report/gone.txt", "only here");
  fs::permissions(store.add("report/wfAttachment.tmp", "half"), fs::perms::owner_write,
                  fs::perm_options::remove);
  ClaimedDump dump(store.add("report/minidump.dmp", builder.build()));
  const auto facts = minidump::read_minidump(dump.reader(), dump.size());
  ASSERT_TRUE(facts);
  const auto record = finish_report_folder(
      folder, dump, *facts, {},
      {path_to_utf8(files.add("log.txt", "all of it")), path_to_utf8(files.path() / "gone.txt")},
      logger);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->attachments, (Names{"log.txt", "gone.txt"}));
  EXPECT_EQ(file_text(folder / "log.txt"), "all of it");
}

TEST(ReportFolder, LeavesNoFolderBehindWhenTheDumpCannotBeMoved) {
  const TempDir store;
  Logger logger;
  // A file has the name of the store's folder.
  const fs::path no_store = store.add("file", "");
  ClaimedDump dump(store.add("x.dmp", "x"));
  EXPECT_FALSE(move_into_new_folder(no_store, dump, logger));
  EXPECT_EQ(list_folder(store.path()).size(), 2u);
  // Where a claimed dump can be deleted, it cannot be moved afterwards.
  std::error_code error;
  if (!fs::remove(store.path() / "x.dmp", error)) return;
  EXPECT_FALSE(move_into_new_folder(store.path(), dump, logger));
  EXPECT_EQ(list_folder(store.path()).size(), 1u);
}

TEST(ClaimedDump, TellsWhyItCannotClaim) {
  const TempDir store;
  const fs::path file = store.add("x.dmp", "x");
  EXPECT_EQ(ClaimedDump(store.path() / "y.dmp").state(), ClaimedDump::State::kGone);
  EXPECT_EQ(ClaimedDump(store.path() / "no" / "y.dmp").state(), ClaimedDump::State::kGone);
  {
    const std::ofstream writer(file, std::ios::binary | std::ios::app);
    EXPECT_EQ(ClaimedDump(file).state(), ClaimedDump::State::kBusy);
  }
  const ClaimedDump first(file);
  EXPECT_EQ(first.state(), ClaimedDump::State::kClaimed);
  EXPECT_EQ(ClaimedDump(file).state(), ClaimedDump::State::kBusy);
}

}  // namespace
}  // namespace wrenfall::monitor
