#include "monitor/dump_collector.h"

#include <gtest/gtest.h>

#include "minidump_builder.h"
#include "report/store/layout.h"
#include "report/store/report_store.h"
#include "support/files.h"
#include "tests/support/temp_dir.h"

namespace wrenfall::monitor {
namespace {

namespace fs = std::filesystem;

// No process of this id ever runs: ids are multiples of four.
const ProcessIdentity kGoneProcess = {4294967280u, 99};

class DumpCollectorTest : public ::testing::Test {
 protected:
  std::string dump_of(const std::string& session, const std::string& run = "2") const {
    minidump::MinidumpBuilder builder;
    builder.live = live_;
    builder.startup = {
        {"wrenfall.session", session}, {"wrenfall.policy", "manual"}, {"wrenfall.run", run}};
    return builder.build();
  }

  DumpCollector collector() {
    return DumpCollector(
        {store_.path() / "crashpad" / "reports", store_.path()}, own_, 2, limits_,
        [this](const fs::path&) {
          reporter_started_ = true;
          return true;
        },
        logger_, [this](const ProcessIdentity&) { return debugged_; },
        [this](const ProcessIdentity&) { put_file(store_ / "released", "text"); });
  }

  fs::path add_dump(const std::string& name, const std::string& bytes) {
    return store_.add("crashpad/reports/" + name, bytes);
  }

  std::vector<CrashData> reports() const {
    std::vector<CrashData> records;
    for (const fs::path& folder : list_report_folders(store_.path())) {
      records.emplace_back();
      EXPECT_TRUE(load(folder, records.back()));
    }
    return records;
  }

  bool was_logged_once(const std::string& text) const {
    const std::string log = file_text(store_.path() / "Wrenfall.log");
    return log.find(text) != std::string::npos && log.find(text) == log.rfind(text);
  }

  // The dump of a folder whose monitor ended before it was complete.
  fs::path add_half_made(const std::string& folder, fs::file_time_type::duration age) {
    const fs::path dump = store_.add(folder + "/minidump.dmp", dump_of(kGoneProcess.text()));
    fs::last_write_time(dump, fs::file_time_type::clock::now() - age);
    return dump;
  }

  const TempDir store_{};
  const ProcessIdentity own_ = current_process();
  StoreLimits limits_{};
  std::vector<std::pair<std::string, std::string>> live_{};
  Logger logger_{store_.path() / "Wrenfall.log"};
  bool reporter_started_ = false;
  std::optional<bool> debugged_ = true;
};

TEST_F(DumpCollectorTest, KeepsToTheLimitsOfTheHost) {
  limits_.resend = true;
  limits_.report_limit = {3, 600};
  limits_.retention.max_reports = 2;
  write_session(store_.path(), {own_, {path_to_utf8(store_.add("elsewhere/retry.json", "{}"))}});
  store_.add("an old report/WrenfallCrashData.json", "{}");
  DumpCollector collecting = collector();
  for (int i = 0; i < 5; ++i) add_dump(std::to_string(i) + ".dmp", dump_of(own_.text()));
  EXPECT_FALSE(collecting.collect());
  EXPECT_TRUE(list_folder(store_ / "crashpad/reports").empty());
  limits_.report_limit.count = 4;
  add_dump("later.dmp", dump_of(own_.text()));
  collector().collect();
  EXPECT_FALSE(path_exists(store_ / "an old report"));
  const auto records = reports();
  // Those of this run stay, although they are more than two.
  ASSERT_EQ(records.size(), 4u);
  for (const CrashData& record : records) {
    EXPECT_EQ(record.attachments, std::vector<std::string>{"retry (2).json"});
    const bool is_later = record.crashpadReportId == "later";
    EXPECT_EQ(record.attributes.count("wrenfall.dropped"), is_later ? 1u : 0u);
    if (is_later) {
      EXPECT_EQ(record.attributes.at("wrenfall.dropped"), "2");
    }
  }
}

TEST_F(DumpCollectorTest, TakesOwnDumpsWithTheAttachmentsOfTheSession) {
  const fs::path attachment = store_.add("elsewhere/a.txt", "text");
  write_session(store_.path(), {own_, {path_to_utf8(attachment)}});
  DumpCollector collecting = collector();
  collecting.refresh_session();
  // The library is shut down before the dump is looked at, and may have been initialized again before.
  remove_session(store_.path(), own_);
  add_dump("0a1b.dmp", dump_of(own_.text(), "1"));
  EXPECT_FALSE(collecting.collect());
  const auto records = reports();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].crashpadReportId, "0a1b");
  EXPECT_EQ(records[0].attachments, std::vector<std::string>{"a.txt"});
  EXPECT_EQ(records[0].processId, own_.process_id);
  EXPECT_FALSE(reporter_started_);
}

TEST_F(DumpCollectorTest, CopiesWhatACrashedHostHoldsAfterItsEnd) {
  std::error_code error;
  // A link that leads nowhere is a file that cannot be read.
  fs::create_symlink(store_ / "released", store_ / "a.txt", error);
  if (error) GTEST_SKIP() << "no links on this system";
  write_session(store_.path(), {own_, {path_to_utf8(store_ / "a.txt")}});
  for (const char* const kind : {"capture", "crash"}) {
    live_ = {{"wrenfall.reportKind", kind}};
    add_dump("x.dmp", dump_of(own_.text()));
    collector().collect();
    EXPECT_EQ(path_exists(store_ / "released"), kind == std::string("crash"));
  }
  EXPECT_EQ(reports().back().attachments.size() + reports().front().attachments.size(), 1u);
}

// The host is this process, which would end.
TEST_F(DumpCollectorTest, EndsNoProcessUnderADebuggerOrForAHangOfAnEarlierRun) {
  live_ = {{"wrenfall.reportKind", "hang"}, {"wrenfall.hangPolicy", "terminate"}};
  add_dump("hang.dmp", dump_of(own_.text()));
  collector().collect();
  debugged_.reset();
  add_dump("another.dmp", dump_of(own_.text()));
  add_dump("earlier.dmp", dump_of(own_.text(), "1"));
  collector().collect();
  EXPECT_EQ(reports().size(), 3u);
  EXPECT_TRUE(was_logged_once("not ended: a debugger is attached"));
  EXPECT_TRUE(was_logged_once("not ended: it cannot be asked whether a debugger is attached"));
}

TEST_F(DumpCollectorTest, LeavesWhatIsNotItsOwn) {
  DumpCollector collecting = collector();
  add_dump("bad.dmp", "PMDM and a text that is longer than a header");
  add_dump("half.dmp", dump_of(own_.text()).substr(0, 99));
  add_dump("none.dmp", dump_of(""));
  add_dump("note.txt", dump_of(own_.text()));
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(collecting.collect());
  // Comes after the first look, so its own monitor takes it.
  add_dump("gone.dmp", dump_of(kGoneProcess.text()));
  add_dump("later.dmp", dump_of(own_.text(), "3"));
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(collecting.collect());
  EXPECT_TRUE(reports().empty());
  EXPECT_TRUE(collecting.has_seen_crash()) << "it is of this host, although a later run reports it";
  EXPECT_EQ(list_folder(store_.path() / "crashpad" / "reports").size(), 5u);
  EXPECT_EQ(file_text(store_.path() / "Wrenfall.log").find("gone.dmp"), std::string::npos);
  // The next monitor does not read them again.
  collector().collect();
  EXPECT_TRUE(was_logged_once("bad.dmp"));
  EXPECT_TRUE(was_logged_once("none.dmp"));
  EXPECT_TRUE(was_logged_once("Dump cut short, removed: "));
  EXPECT_TRUE(is_file(store_.path() / "crashpad" / "reports" / "bad.dmp.damaged"));
}

TEST_F(DumpCollectorTest, AttachmentListsStayUntilTheLastFolderIsComplete) {
  add_half_made("half", std::chrono::seconds(0));
  const fs::path attachment = store_.add("elsewhere/a.txt", "text");
  write_session(store_.path(), {kGoneProcess, {path_to_utf8(attachment)}});
  sweep_sessions(store_.path());
  const fs::path list = kept_session_file(store_.path(), kGoneProcess);
  const auto start_monitor = [this] {
    DumpCollector collecting = collector();
    collecting.collect();
    collecting.finish_half_made_folders();
    collecting.collect();
  };
  start_monitor();  // the folder is too young to be finished
  EXPECT_TRUE(is_file(list));
  EXPECT_TRUE(reports().empty());
  add_half_made("half", std::chrono::minutes(2));
  start_monitor();
  const auto records = reports();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].attachments, std::vector<std::string>{"a.txt"});
  EXPECT_FALSE(path_exists(list));
}

TEST_F(DumpCollectorTest, FirstLookAdoptsDumpsOfProcessesThatAreGone) {
  const ProcessIdentity reused_id = {own_.process_id, own_.start_time + 1};
  add_dump("gone.dmp", dump_of(kGoneProcess.text()));
  add_dump("reused.dmp", dump_of(reused_id.text()));
  const ProcessIdentity watched = {kGoneProcess.process_id, 1};
  DumpCollector collecting(
      {store_.path() / "crashpad" / "reports", store_.path()}, watched, 1, {},
      [](const fs::path&) { return true; }, logger_);
  add_dump("running.dmp", dump_of(own_.text()));
  collecting.collect();
  EXPECT_EQ(reports().size(), 2u);
  EXPECT_TRUE(is_file(store_.path() / "crashpad" / "reports" / "running.dmp"));
}

TEST_F(DumpCollectorTest, FinishesOldHalfMadeFoldersOnly) {
  add_half_made("old", std::chrono::minutes(2));
  store_.add("old/log.txt", "copied");
  // The clock was wrong for a while.
  add_half_made("future", -std::chrono::hours(9000));
  add_half_made("young", std::chrono::seconds(0));
  add_half_made("done", std::chrono::minutes(2));
  store_.add("done/WrenfallCrashData.json", "{}");
  const fs::path temporary = store_.add("done/result.json.tmp", "{");
  fs::last_write_time(temporary, fs::file_time_type::clock::now() - std::chrono::hours(1));
  const ClaimedDump at_work(add_half_made("held", std::chrono::minutes(2)));

  collector().finish_half_made_folders();
  CrashData record;
  ASSERT_TRUE(load(store_.path() / "old", record));
  EXPECT_EQ(record.crashpadReportId, "03020100-0504-0706-0809-0a0b0c0d0e0f");
  EXPECT_EQ(record.attachments, std::vector<std::string>{"log.txt"});
  EXPECT_TRUE(path_exists(store_.path() / "future" / kCrashDataFile));
  EXPECT_FALSE(path_exists(store_.path() / "young" / kCrashDataFile));
  EXPECT_FALSE(path_exists(store_.path() / "held" / kCrashDataFile));
  EXPECT_EQ(file_text(store_.path() / "done" / kCrashDataFile), "{}");
  EXPECT_FALSE(path_exists(temporary));
}

}  // namespace
}  // namespace wrenfall::monitor
