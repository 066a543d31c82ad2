#include <gtest/gtest.h>

#include <tuple>

#include "monitor/freeze_tracker.h"
#include "monitor/handler_end.h"
#include "monitor/lost_crash.h"
#include "monitor/monitor_options.h"
#include "monitor/run_end.h"
#include "reporter/reporter_options.h"
#include "support/command_line.h"

namespace wrenfall {
namespace {

using monitor::MonitorOptions;
using monitor::parse_monitor_options;
using reporter::parse_reporter_options;
using reporter::ReporterOptions;
using MonitorRequest = MonitorOptions::Request;
using ReporterRequest = ReporterOptions::Request;

TEST(MonitorOptions, RefusesIncompleteArguments) {
  const std::string database = "--database=d";
  const std::string store = "--annotation=wrenfall.store=s";
  const std::string session = "--annotation=wrenfall.session=";
  const std::tuple<std::vector<std::string>, MonitorRequest, const char*> rows[] = {
      {{}, MonitorRequest::kUnusable, ""},
      {{store}, MonitorRequest::kUnusable, "s"},
      {{"--database=", store, session + "1-2"}, MonitorRequest::kUnusable, "s"},
      {{database, session + "1-2"}, MonitorRequest::kUnusable, ""},
      {{database, store, session}, MonitorRequest::kUnusable, "s"},
      {{database, store, session + "0-2"}, MonitorRequest::kUnusable, "s"},
      {{database, store, session + "1-2x"}, MonitorRequest::kUnusable, "s"},
      {{database, store, session + "1-0"}, MonitorRequest::kMonitor, "s"},
      {{"--help"}, MonitorRequest::kHelp, ""},
      {{"--version"}, MonitorRequest::kVersion, ""},
  };
  for (const auto& [arguments, request, store_option] : rows) {
    const MonitorOptions options = parse_monitor_options(arguments);
    const std::string label = ::testing::PrintToString(arguments);
    EXPECT_EQ(options.request, request) << label;
    EXPECT_EQ(options.store, store_option) << label;
    EXPECT_EQ(options.error.empty(), request != MonitorRequest::kUnusable) << label;
  }
}

TEST(MonitorOptions, TellTheRun) {
  EXPECT_EQ(parse_monitor_options({}).run, 1u);
  EXPECT_EQ(parse_monitor_options({"--annotation=wrenfall.run=12"}).run, 12u);
}

TEST(HandlerEnd, IsMadeGoodWhileTheHostRunsAndHandlersLive) {
  using monitor::AfterHandler;
  const struct {
    monitor::HandlerEnd end;
    AfterHandler expected;
  } rows[] = {
      {{false, true, false, std::chrono::seconds(1), 0}, AfterHandler::kEnd},
      {{true, false, false, std::chrono::seconds(1), 0}, AfterHandler::kEnd},
      {{true, true, true, std::chrono::seconds(1), 0}, AfterHandler::kEnd},
      {{true, true, false, std::chrono::seconds(0), 0}, AfterHandler::kStart},
      {{true, true, false, std::chrono::seconds(59), 2}, AfterHandler::kStart},
      {{true, true, false, std::chrono::seconds(59), 3}, AfterHandler::kStay},
      {{true, true, false, std::chrono::seconds(60), 3}, AfterHandler::kStart},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(monitor::after_handler_end(row.end), row.expected)
        << row.end.lifetime.count() << " s, " << row.end.short_lives;
  }
}

TEST(HandlerEnd, ComesWithinMinutesOfTheEndOfTheHost) {
  using std::chrono::seconds;
  EXPECT_FALSE(monitor::is_stuck(seconds(120), false));
  EXPECT_TRUE(monitor::is_stuck(seconds(121), false));
  EXPECT_FALSE(monitor::is_stuck(seconds(600), true));
  EXPECT_TRUE(monitor::is_stuck(seconds(601), true));
}

TEST(FreezeTracker, CountsAnUnbrokenMinute) {
  monitor::FreezeTracker tracker;
  const auto look = [&](bool frozen, int second) {
    return tracker.look(frozen, AwakeClock::time_point(std::chrono::seconds(second)));
  };
  EXPECT_FALSE(look(true, 1));
  EXPECT_FALSE(look(false, 50));
  EXPECT_FALSE(tracker.is_counting());
  EXPECT_FALSE(look(true, 70));
  EXPECT_FALSE(look(true, 130));
  EXPECT_TRUE(tracker.is_counting());
  EXPECT_TRUE(look(true, 131));
  EXPECT_FALSE(look(true, 132)) << "it counts from the start again";
}

TEST(ReporterOptions, TakesOneFolder) {
  const std::tuple<std::vector<std::string>, ReporterRequest, const char*> rows[] = {
      {{"C:\\a b"}, ReporterRequest::kSend, "C:\\a b"},
      {{"--ask", "C:\\s"}, ReporterRequest::kAsk, "C:\\s"},
      {{"--ask"}, ReporterRequest::kUnusable, ""},
      {{"a", "--program", "p", "--restart", "p -x", "--restart-in", "d", "--application", "n"},
       ReporterRequest::kSend,
       "a"},
      {{"a", "--restart"}, ReporterRequest::kUnusable, "a"},
      {{}, ReporterRequest::kUnusable, ""},
      {{""}, ReporterRequest::kUnusable, ""},
      {{"a", "b"}, ReporterRequest::kUnusable, "a"},
      {{"--quiet", "a"}, ReporterRequest::kUnusable, "a"},
      {{"a", "--help"}, ReporterRequest::kHelp, "a"},
      {{"--version"}, ReporterRequest::kVersion, ""},
  };
  for (const auto& [arguments, request, folder] : rows) {
    const ReporterOptions options = parse_reporter_options(arguments);
    EXPECT_EQ(options.program + options.command_line + options.start_folder + options.application,
              arguments.size() == 9 ? "pp -xdn" : "");
    EXPECT_EQ(options.request, request) << ::testing::PrintToString(arguments);
    EXPECT_EQ(options.folder, folder) << ::testing::PrintToString(arguments);
  }
}

TEST(CommandLine, ReplacesTheProgramAlone) {
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"a.exe --x=1", L" --x=1"},
      {L"\"C:\\a b\\m.exe\" --k=\"v \\\" w\"  --z", L" --k=\"v \\\" w\"  --z"},
      {L"\"C:\\dir\\\" \"--a\"", L" \"--a\""},
      {L"a.exe\t-x", L"\t-x"},
      {L"a.exe", L""},
      {L"\"unended", L""},
      {L"", L""},
      {L" --x", L" --x"},
  };
  for (const auto& [line, rest] : rows) {
    EXPECT_EQ(with_program(line, L"C:\\p q\\h.exe"), std::wstring(L"\"C:\\p q\\h.exe\"") + rest);
  }
}

TEST(RunEnd, FollowsWhatTheMonitorSaw) {
  using How = RunEnd::How;
  const struct {
    std::optional<uint32_t> exit_code;
    bool crashed, terminated, system_ends;
    How how;
    uint32_t crash_code;
  } rows[] = {{0, false, false, false, How::kEnded, 0},
              {3, false, false, true, How::kEnded, 0},
              {0xC0000409, false, false, false, How::kCrashed, 0xC0000409},
              {0xC0000142, false, false, true, How::kEnded, 0},
              {0xC0000005, true, false, true, How::kCrashed, 5},
              {std::nullopt, true, false, false, How::kCrashed, 5},
              {1, false, true, false, How::kHung, 0},
              {1, true, true, false, How::kHung, 0},
              {std::nullopt, false, false, false, How::kUnknown, 0}};
  for (const auto& row : rows) {
    const RunEnd end =
        monitor::run_end({row.exit_code, 1000, row.crashed, 5, 0, row.terminated, row.system_ends});
    EXPECT_EQ(end.how, row.how) << row.exit_code.value_or(99);
    EXPECT_EQ(end.crash_code, row.crash_code) << row.exit_code.value_or(99);
    EXPECT_EQ(end.time_ms, row.how == How::kUnknown ? 0 : 1000);
  }
  // A process may live on after its crash: a dump takes its time, and one that never comes a minute.
  const struct {
    monitor::HostFacts facts;
    int64_t time_ms;
  } late[] = {{{5, 90000, true, 5, 20, false, false}, 20999},
              {{5, 20500, true, 5, 20, false, false}, 20500},
              {{std::nullopt, 0, true, 5, 20, false, false}, 20999},
              {{0xFFFF7001, 90000, false, 0, 0, false, false}, 30000},
              {{0xFFFF7002, 90000, false, 0, 0, false, false}, 90000}};
  for (const auto& [facts, time_ms] : late) {
    const RunEnd end = monitor::run_end(facts);
    EXPECT_EQ(end.time_ms, time_ms);
    RunRecord run;
    run.start_ms = 1;
    run.end = end;
    run.crashes_earlier = 2;
    EXPECT_EQ(crashes_in_a_row(run), time_ms == 90000 ? 0u : 3u);
    run.end.time_ms = 0;
    EXPECT_EQ(crashes_in_a_row(run), 2u);
  }
  // Codes that programs choose, Ctrl-C, a debugger's, a COM result.
  for (const uint32_t code : {1u, 0xFFFFFFFFu, 0xC000013Au, 0x40010004u, 0x80004005u}) {
    EXPECT_EQ(monitor::run_end({code, 1000, false, 0, 0, false, false}).how, How::kEnded) << code;
  }
  EXPECT_EQ(monitor::lost_crash_line(7, 0xFFFF7001, 3000000),
            "Process 7 ended with code 0xFFFF7001, but no dump of a crash came (2 MiB free)");
  EXPECT_EQ(monitor::lost_crash_line(7, 1, 0), "");
  // An access violation, a C++ exception, a breakpoint, an abort, crashes without a dump.
  for (const uint32_t code :
       {0xC0000005u, 0xE06D7363u, 0x80000003u, 0x40000015u, 0xFFFF7001u, 0xFFFF7003u}) {
    EXPECT_EQ(monitor::run_end({code, 1000, false, 0, 0, false, false}).how, How::kCrashed) << code;
  }
}

}  // namespace
}  // namespace wrenfall
