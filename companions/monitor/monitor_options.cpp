#include "monitor/monitor_options.h"

#include <cstdlib>
#include <optional>
#include <string_view>

#include "backend/annotation_keys.h"
#include "report/limit_annotations.h"

namespace wrenfall::monitor {
namespace {

// The rest of a text that begins with `prefix`.
std::optional<std::string> text_after(std::string_view text, std::string_view prefix) {
  if (text.substr(0, prefix.size()) != prefix) return std::nullopt;
  return std::string(text.substr(prefix.size()));
}

void take_annotation(const std::string& pair, MonitorOptions& options, std::string& session_tag) {
  const size_t equals = pair.find('=');
  if (equals == std::string::npos) return;
  const std::string key = pair.substr(0, equals);
  const std::string value = pair.substr(equals + 1);
  if (key == annotation::kStore) options.store = value;
  if (key == annotation::kReporter) options.reporter = value;
  if (key == annotation::kSession) session_tag = value;
  if (key == annotation::kRun)
    options.run = static_cast<uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
  take_limit_annotation(key, value, options.limits);
}

std::string missing(const char* what) { return std::string("no usable ") + what; }

}  // namespace

MonitorOptions parse_monitor_options(const std::vector<std::string>& arguments) {
  MonitorOptions options;
  std::string session_tag;
  for (const std::string& argument : arguments) {
    if (argument == "--help") options.request = MonitorOptions::Request::kHelp;
    if (argument == "--version") options.request = MonitorOptions::Request::kVersion;
    if (const auto database = text_after(argument, "--database=")) options.database = *database;
    if (const auto pair = text_after(argument, "--annotation=")) {
      take_annotation(*pair, options, session_tag);
    }
  }
  if (options.request != MonitorOptions::Request::kMonitor) return options;

  const auto host = ProcessIdentity::parse(session_tag);
  if (options.database.empty()) {
    options.error = missing("--database");
  } else if (options.store.empty()) {
    options.error = missing("--annotation=wrenfall.store");
  } else if (!host || host->process_id == 0) {
    options.error = missing("--annotation=wrenfall.session");
  } else {
    options.host = *host;
  }
  if (!options.error.empty()) options.request = MonitorOptions::Request::kUnusable;
  return options;
}

}  // namespace wrenfall::monitor
