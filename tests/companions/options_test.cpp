#include <gtest/gtest.h>

#include "monitor/monitor_options.h"
#include "reporter/reporter_options.h"

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
  const struct {
    std::vector<std::string> arguments;
    MonitorRequest request;
    const char* store;
  } rows[] = {
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
  for (const auto& row : rows) {
    const MonitorOptions options = parse_monitor_options(row.arguments);
    const std::string label = ::testing::PrintToString(row.arguments);
    EXPECT_EQ(options.request, row.request) << label;
    EXPECT_EQ(options.store, row.store) << label;
    EXPECT_EQ(options.error.empty(), row.request != MonitorRequest::kUnusable) << label;
  }
}

TEST(ReporterOptions, TakesOneFolder) {
  const struct {
    std::vector<std::string> arguments;
    ReporterRequest request;
    const char* folder;
  } rows[] = {
      {{"C:\\a b"}, ReporterRequest::kSend, "C:\\a b"},
      {{}, ReporterRequest::kUnusable, ""},
      {{""}, ReporterRequest::kUnusable, ""},
      {{"a", "b"}, ReporterRequest::kUnusable, "a"},
      {{"--quiet", "a"}, ReporterRequest::kUnusable, "a"},
      {{"a", "--quiet"}, ReporterRequest::kUnusable, "a"},
      {{"a", "--help"}, ReporterRequest::kHelp, "a"},
      {{"--version"}, ReporterRequest::kVersion, ""},
  };
  for (const auto& row : rows) {
    const ReporterOptions options = parse_reporter_options(row.arguments);
    const std::string label = ::testing::PrintToString(row.arguments);
    EXPECT_EQ(options.request, row.request) << label;
    EXPECT_EQ(options.folder, row.folder) << label;
  }
}

}  // namespace
}  // namespace wrenfall
