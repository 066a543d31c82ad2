#include "monitor/report_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "minidump_builder.h"
#include "report/attachments.h"
#include "support/files.h"
#include "temporary_folder.h"

namespace wrenfall {
namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

std::string log_of(const TemporaryFolder& folder) {
  return file_text(folder.path() / "Wrenfall.log");
}

TEST(ReportFolder, CopiesAttachmentsUnderNamesOfTheirOwn) {
  const TemporaryFolder files;
  const TemporaryFolder store;
  Logger logger(store.path() / "Wrenfall.log");
  const fs::path folder = store.path() / "report";
  fs::create_directory(folder);
  const Names paths = {
      path_to_utf8(files.add("a/log.txt", "1")),
      path_to_utf8(files.add("b/LOG.txt", "2")),
      path_to_utf8(files.add("b/result.json", "3")),
      path_to_utf8(files.path() / "no such file"),
      path_to_utf8(files.path()),
      path_to_utf8(files.add("a/\xC3\x84rger \xD0\xB6.txt", "4")),
      // The same name to the file system, though not to ASCII rules.
      path_to_utf8(files.add("b/\xC3\xA4rger \xD0\x96.txt", "5")),
  };
  const Names names = copy_attachments(folder, paths, SameName::kGetsANumber, &logger);
  // Names that differ in upper and lower case alone are the same to Windows.
  const std::string number = fs::exists(files.path() / "A" / "LOG.TXT") ? " (2)" : "";
  EXPECT_EQ(names, (Names{"log.txt", "LOG" + number + ".txt", "result (2).json",
                          "\xC3\x84rger \xD0\xB6.txt", "\xC3\xA4rger \xD0\x96" + number + ".txt"}));
  for (size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(file_text(folder / utf8_to_path(names[i])), std::to_string(i + 1)) << names[i];
  }
  const std::string log = log_of(store);
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
  EXPECT_NE(log.find("WARN Attachment not copied"), std::string::npos) << log;
}

TEST(ReportFolder, LaterAttachmentReplacesOneOfTheSameName) {
  const TemporaryFolder files;
  const TemporaryFolder store;
  store.add("feedback.json", "the report");
  const Names paths = {path_to_utf8(files.add("a/log.txt", "1")),
                       path_to_utf8(files.add("b/log.txt", "2")),
                       path_to_utf8(files.add("b/feedback.json", "3"))};
  EXPECT_EQ(copy_attachments(store.path(), paths, SameName::kReplaces, nullptr),
            (Names{"log.txt", "feedback (2).json"}));
  EXPECT_EQ(file_text(store.path() / "log.txt"), "2");
  EXPECT_EQ(file_text(store.path() / "feedback.json"), "the report");
}

TEST(ReportFolder, ReadOnlyAttachmentDoesNotKeepTheReportFromBeingDeleted) {
  const TemporaryFolder files;
  const TemporaryFolder store;
  Logger logger;
  const fs::path folder = store.path() / "report";
  fs::create_directory(folder);
  const fs::path source = files.add("settings.ini", "x");
  fs::permissions(source, fs::perms::owner_write, fs::perm_options::remove);
  copy_attachments(folder, {path_to_utf8(source)}, SameName::kReplaces, &logger);
  fs::permissions(source, fs::perms::owner_write, fs::perm_options::add);
  EXPECT_TRUE(is_file(folder / "settings.ini"));
  EXPECT_TRUE(remove_folder(folder));
}

TEST(ReportFolder, SecondTryKeepsWhatTheFirstCopied) {
  const TemporaryFolder files;
  const TemporaryFolder store;
  Logger logger;
  const fs::path folder = store.path() / "report";
  MinidumpBuilder builder;
  builder.startup = {{"wrenfall.session", "5-6"}};
  store.add("report/log.txt", "half");
  store.add("report/gone.txt", "only here");
  ClaimedDump dump(store.add("report/minidump.dmp", builder.build()));
  const auto facts = read_minidump(dump.reader(), dump.size());
  ASSERT_TRUE(facts);
  const auto record = finish_report_folder(
      folder, dump, *facts, {}, {path_to_utf8(files.add("log.txt", "all of it"))}, logger);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->attachments, (Names{"log.txt", "gone.txt"}));
  EXPECT_EQ(file_text(folder / "log.txt"), "all of it");
}

TEST(ReportFolder, WritesTheRecordAndGivesTheDumpFree) {
  const TemporaryFolder store;
  Logger logger(store.path() / "Wrenfall.log");
  MinidumpBuilder builder;
  builder.startup = {{"prod", "App"}, {"wrenfall.session", "5-6"}};
  const std::string bytes = builder.build();
  ClaimedDump dump(store.add("crashpad/reports/x.dmp", bytes));
  ASSERT_EQ(dump.state(), ClaimedDump::State::kClaimed);
  const auto facts = read_minidump(dump.reader(), dump.size());
  ASSERT_TRUE(facts);

  const auto folder = move_into_new_folder(store.path(), dump, logger);
  ASSERT_TRUE(folder);
  EXPECT_EQ(folder->parent_path(), store.path());
  EXPECT_EQ(folder->filename().string().size(), 36u);
  EXPECT_FALSE(path_exists(store.path() / "crashpad/reports/x.dmp"));
  EXPECT_EQ(ClaimedDump(*folder / "minidump.dmp").state(), ClaimedDump::State::kBusy);

  ASSERT_TRUE(finish_report_folder(*folder, dump, *facts, {}, {}, logger));
  EXPECT_EQ(file_text(*folder / "minidump.dmp"), bytes);
  CrashData record;
  ASSERT_TRUE(load(*folder, record));
  EXPECT_EQ(record.appName, "App");
}

TEST(ReportFolder, LeavesNoFolderBehindWhenTheDumpCannotBeMoved) {
  const TemporaryFolder store;
  Logger logger;
  // A file stands where the store's folder would have to be.
  const fs::path no_store = store.add("file", "");
  ClaimedDump dump(store.add("x.dmp", "x"));
  EXPECT_FALSE(move_into_new_folder(no_store, dump, logger));
  EXPECT_EQ(list_folder(store.path()).size(), 2u);
}

TEST(ClaimedDump, TellsWhyItCannotClaim) {
  const TemporaryFolder store;
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
}  // namespace wrenfall
