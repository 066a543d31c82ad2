#include "monitor/record_from_annotations.h"

#include <gtest/gtest.h>

#include "support/json_text.h"
#include "support/version.h"

namespace wrenfall::monitor {
namespace {

using Texts = std::map<std::string, std::string>;

minidump::DumpFacts facts_of(Texts startup, Texts live) {
  minidump::DumpFacts facts;
  facts.time_stamp = 1;
  // A dump on demand has the code that the client library gives it.
  facts.exception_code = live.count("wrenfall.reportKind") == 0 ? 0xE0000001 : 0x0517A7ED;
  facts.annotations.startup = std::move(startup);
  facts.annotations.live = std::move(live);
  return facts;
}

RecordContext context() {
  RecordContext context;
  context.crashpad_report_id = "id";
  context.now = "now";
  context.monitor_pid = 4711;
  return context;
}

// Facts that are only copied are compared in the end-to-end tests.
TEST(RecordFromAnnotations, JudgesTheOthers) {
  const struct {
    Texts startup;
    Texts live;
    const char* field;
    const char* expected;  // JSON
  } rows[] = {
      {{{"attr.a", "1"}, {"attr.b", "1"}},
       {{"attr.b", "2"}, {"attr.", "x"}, {"attra", "x"}},
       "attributes",
       R"({"a":"1","b":"2"})"},
      {{{"unknown", "x"}}, {{"unknown", "x"}}, "attributes", "{}"},
      {{}, {}, "reportKind", R"("crash")"},
      {{}, {{"wrenfall.reportKind", "hang"}}, "reportKind", R"("hang")"},
      {{}, {}, "crashpadReportId", R"("id")"},
      {{}, {}, "crashTime", R"("1970-01-01T00:00:01Z")"},
      {{}, {}, "signalOrExceptionCode", R"("0xE0000001")"},
      {{}, {{"wrenfall.reportKind", "hang"}}, "signalOrExceptionCode", R"("")"},
      {{}, {{"wrenfall.reportKind", "ondemand"}}, "signalOrExceptionCode", R"("")"},
      {{},
       {{"wrenfall.reportKind", "hang"}, {"wrenfall.hangDurationMs", "6100"}},
       "hangDurationMs",
       "6100"},
      {{},
       {{"wrenfall.reportKind", "hang"}, {"wrenfall.hangDurationMs", "61s"}},
       "hangDurationMs",
       "0"},
      {{},
       {{"wrenfall.reportKind", "hang"}, {"wrenfall.hangDurationMs", "99999999999999999999"}},
       "hangDurationMs",
       "0"},
      {{}, {{"wrenfall.hangDurationMs", "6100"}}, "hangDurationMs", "0"},
      {{},
       {{"wrenfall.reportKind", "hang"},
        {"wrenfall.hangThread", "ui"},
        {"wrenfall.hangThreadId", "44"},
        {"wrenfall.hangPolicy", "report"}},
       "attributes",
       R"({"wrenfall.hangPolicy":"report","wrenfall.hangThread":"ui","wrenfall.hangThreadId":"44"})"},
      // The policy of an earlier hang stays set.
      {{}, {{"wrenfall.hangPolicy", "terminate"}}, "attributes", "{}"},
      {{{"wrenfall.policy", "manual"}},
       {{"wrenfall.policy", "quiet"}},
       "uploadPolicy",
       R"("quiet")"},
      {{{"wrenfall.policy", "other"}}, {}, "uploadPolicy", R"("dialog")"},
      {{}, {}, "openSupportUrl", "true"},
      {{{"wrenfall.openSupportUrl", "0"}}, {}, "openSupportUrl", "false"},
      {{{"wrenfall.themeDir", "C:\\t"}}, {}, "themeDir", R"("C:\\t")"},
      {{}, {}, "monitorVersion", "\"" WRENFALL_VERSION_TEXT "\""},
      {{{"wrenfall.session", "77-1"}}, {{"wrenfall.session", "88-1"}}, "processId", "77"},
      {{}, {}, "ownerPid", "4711"},
      {{{"wrenfall.policy", "manual"}}, {}, "ownerPid", "0"},
      {{{"wrenfall.policy", "quiet"}}, {{"wrenfall.policy", "manual"}}, "ownerPid", "0"},
  };
  for (const auto& row : rows) {
    const CrashData record = record_from_annotations(facts_of(row.startup, row.live), context());
    const auto json = parse_json(serialize(record));
    EXPECT_EQ(json_text(json.at(row.field)), row.expected)
        << row.field << ::testing::PrintToString(row.startup) << ::testing::PrintToString(row.live);
  }
}

TEST(RecordFromAnnotations, CrashIsACrashWhateverWasAskedForMeanwhile) {
  minidump::DumpFacts facts =
      facts_of({}, {{"wrenfall.reportKind", "hang"}, {"wrenfall.hangPolicy", "terminate"}});
  facts.exception_code = 0xC0000005;
  const CrashData record = record_from_annotations(facts, context());
  EXPECT_EQ(record.reportKind, "crash");
  EXPECT_EQ(record.signalOrExceptionCode, "0xC0000005");
  EXPECT_FALSE(asks_for_termination(facts));

  // A dump on demand is no crash, also when its mark was cleared before it was written.
  minidump::DumpFacts unmarked = facts_of({}, {});
  unmarked.exception_code = 0x0517A7ED;
  EXPECT_EQ(record_from_annotations(unmarked, context()).reportKind, "capture");
}

TEST(RecordFromAnnotations, TellsTheThreadThatADumpOnDemandIsOf) {
  const struct {
    Texts live;
    uint32_t thread;  // 0 for none
    bool own_context;
  } rows[] = {
      {{{"wrenfall.reportKind", "capture"}, {"wrenfall.threadId", "12"}}, 12, false},
      {{{"wrenfall.reportKind", "hang"},
        {"wrenfall.threadId", "12"},
        {"wrenfall.hangThreadId", "4294967292"}},
       4294967292,
       true},
      {{{"wrenfall.reportKind", "hang"}, {"wrenfall.threadId", "12"}}, 0, false},
      {{{"wrenfall.reportKind", "capture"}, {"wrenfall.threadId", "4294967296"}}, 0, false},
      {{{"wrenfall.reportKind", "capture"}, {"wrenfall.threadId", "12x"}}, 0, false},
      // A crash, whatever was asked for meanwhile.
      {{{"wrenfall.threadId", "12"}}, 0, false},
  };
  for (const auto& row : rows) {
    const auto thread = thread_of_interest(facts_of({}, row.live));
    EXPECT_EQ(thread ? thread->id : 0, row.thread) << ::testing::PrintToString(row.live);
    if (!thread) continue;
    EXPECT_EQ(thread->context == minidump::ShownContext::kThreadsOwn, row.own_context);
  }
}

TEST(RecordFromAnnotations, TellsTheTimeOfTheDump) {
  const struct {
    uint32_t seconds;
    const char* expected;
  } rows[] = {
      {0, "now"},
      {951782399, "2000-02-28T23:59:59Z"},
      {951782400, "2000-02-29T00:00:00Z"},
      {951868800, "2000-03-01T00:00:00Z"},
      {1709251199, "2024-02-29T23:59:59Z"},
      {1767225599, "2025-12-31T23:59:59Z"},
      {1767225600, "2026-01-01T00:00:00Z"},
      {4107542400, "2100-03-01T00:00:00Z"},
      {0xFFFFFFFF, "2106-02-07T06:28:15Z"},
  };
  for (const auto& row : rows) {
    minidump::DumpFacts facts;
    facts.time_stamp = row.seconds;
    EXPECT_EQ(record_from_annotations(facts, context()).crashTime, row.expected) << row.seconds;
  }
}

TEST(RecordFromAnnotations, EndsAProcessOnlyForItsOwnHang) {
  const struct {
    Texts startup;
    Texts live;
    bool expected;
  } rows[] = {
      {{}, {{"wrenfall.reportKind", "hang"}, {"wrenfall.hangPolicy", "terminate"}}, true},
      {{}, {{"wrenfall.reportKind", "hang"}, {"wrenfall.hangPolicy", "report"}}, false},
      {{}, {{"wrenfall.reportKind", "hang"}}, false},
      {{}, {{"wrenfall.hangPolicy", "terminate"}}, false},
      {{{"wrenfall.hangPolicy", "terminate"}}, {{"wrenfall.reportKind", "hang"}}, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(asks_for_termination(facts_of(row.startup, row.live)), row.expected)
        << ::testing::PrintToString(row.live);
  }
}

}  // namespace
}  // namespace wrenfall::monitor
