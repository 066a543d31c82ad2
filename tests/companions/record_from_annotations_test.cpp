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
  facts.crash_code = live.count("wrenfall.reportKind") == 0 ? 0xE0000001 : 0x0517A7ED;
  facts.annotations.startup = std::move(startup);
  facts.annotations.live = std::move(live);
  return facts;
}

Texts hang(Texts more = {}) {
  more["wrenfall.reportKind"] = "hang";
  return more;
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
      {{}, hang(), "reportKind", R"("hang")"},
      {{}, hang(), "signalOrExceptionCode", R"("")"},
      {{}, {{"wrenfall.reportKind", "ondemand"}}, "signalOrExceptionCode", R"("")"},
      {{}, hang({{"wrenfall.hangDurationMs", "6100"}}), "hangDurationMs", "6100"},
      {{}, hang({{"wrenfall.hangDurationMs", "61s"}}), "hangDurationMs", "0"},
      {{}, hang({{"wrenfall.hangDurationMs", "99999999999999999999"}}), "hangDurationMs", "0"},
      {{}, {{"wrenfall.hangDurationMs", "6100"}}, "hangDurationMs", "0"},
      {{},
       hang({{"wrenfall.hangThread", "ui"}, {"wrenfall.hangPolicy", "report"}}),
       "attributes",
       R"({"wrenfall.hangPolicy":"report","wrenfall.hangThread":"ui"})"},
      // The policy of an earlier hang stays set.
      {{}, {{"wrenfall.hangPolicy", "terminate"}}, "attributes", "{}"},
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
  minidump::DumpFacts facts = facts_of({}, hang({{"wrenfall.hangPolicy", "terminate"}}));
  facts.crash_code = 0xC0000005;
  const CrashData record = record_from_annotations(facts, context());
  EXPECT_EQ(record.reportKind, "crash");
  EXPECT_EQ(record.signalOrExceptionCode, "0xC0000005");
  EXPECT_FALSE(asks_for_termination(facts));

  // A dump on demand is no crash, also when its mark was cleared before it was written.
  minidump::DumpFacts unmarked = facts_of({}, {});
  unmarked.crash_code = 0x0517A7ED;
  EXPECT_EQ(record_from_annotations(unmarked, context()).reportKind, "capture");
}

TEST(RecordFromAnnotations, TellsTheThreadThatADumpOnDemandIsOf) {
  const std::string kind = "wrenfall.reportKind", id = "wrenfall.threadId";
  const std::pair<Texts, uint32_t> rows[] = {
      // The thread, or 0 for none.
      {{{kind, "capture"}, {id, "12"}}, 12},
      {hang({{id, "12"}, {"wrenfall.hangThreadId", "4294967292"}}), 4294967292},
      {hang({{id, "12"}}), 0},
      {{{kind, "capture"}, {id, "4294967296"}}, 0},
      {{{kind, "capture"}, {id, "12x"}}, 0},
      // A crash, whatever was asked for meanwhile.
      {{{id, "12"}}, 0},
  };
  for (const auto& [live, id_of_thread] : rows) {
    const auto thread = thread_of_interest(facts_of({}, live));
    ASSERT_EQ(thread ? thread->id : 0, id_of_thread) << ::testing::PrintToString(live);
    if (!thread) continue;
    EXPECT_EQ(thread->context == minidump::ShownContext::kThreadsOwn, live.at(kind) == "hang");
  }
}

TEST(RecordFromAnnotations, NamesTheTypeThatWasWritten) {
  const std::pair<uint64_t, const char*> rows[] = {
      {0, "normal"}, {0x1020, "normal"}, {0x200, "heap"}, {0x1A06, "full"}};
  for (const auto& [flags, expected] : rows) {
    minidump::DumpFacts facts = facts_of({{"wrenfall.dumpType", "other"}}, {});
    facts.type_flags = flags;
    EXPECT_EQ(record_from_annotations(facts, context()).dumpType, expected) << flags;
  }
}

TEST(RecordFromAnnotations, TellsTheTimeOfTheDump) {
  const std::pair<uint32_t, const char*> rows[] = {
      {0, "now"},
      {951782400, "2000-02-29T00:00:00Z"},
      {1709251199, "2024-02-29T23:59:59Z"},
      {4107542400, "2100-03-01T00:00:00Z"},
      {0xFFFFFFFF, "2106-02-07T06:28:15Z"},
  };
  for (const auto& [seconds, expected] : rows) {
    minidump::DumpFacts facts;
    facts.time_stamp = seconds;
    EXPECT_EQ(record_from_annotations(facts, context()).crashTime, expected) << seconds;
  }
}

TEST(RecordFromAnnotations, EndsAProcessOnlyForItsOwnHang) {
  const Texts terminate = {{"wrenfall.hangPolicy", "terminate"}};
  EXPECT_TRUE(asks_for_termination(facts_of({}, hang(terminate))));
  EXPECT_FALSE(asks_for_termination(facts_of({}, hang({{"wrenfall.hangPolicy", "report"}}))));
  EXPECT_FALSE(asks_for_termination(facts_of({}, terminate)));
  EXPECT_FALSE(asks_for_termination(facts_of(terminate, hang())));
}

}  // namespace
}  // namespace wrenfall::monitor
