#include <algorithm>

#include "ctl/ctl_output.h"
#include "report/store/layout.h"
#include "report/store/retry_file.h"
#include "support/encoding.h"
#include "support/json_text.h"
#include "support/result_names.h"
#include "support/text.h"

namespace wrenfall::ctl {
namespace {

using nlohmann::json;

json result_json(const std::optional<ReportResult>& result) {
  if (!result) return nullptr;
  return {{"status", result->status},
          {"errorCode", result->errorCode},
          {"errorName", result_name(result->errorCode)},
          {"httpStatus", result->httpStatus},
          {"crashId", result->crashId},
          {"stackKeyId", result->stackKeyId},
          {"infoUrl", result->infoUrl},
          {"cancelled", result->cancelled}};
}

json summary_json(const ReportSummary& report) {
  // Without a readable record the keys are there too: texts are empty, and numbers 0.
  CrashData unknown;
  unknown.uploadPolicy.clear();
  const CrashData& record = report.record ? *report.record : unknown;
  json object = {{"folder", path_to_utf8(report.folder.filename())},
                 {"path", path_to_utf8(report.folder)},
                 {"state", report.state},
                 {"kind", record.reportKind},
                 {"time", record.crashTime},
                 {"application", record.appName},
                 {"version", record.appVersion},
                 {"uploadPolicy", record.uploadPolicy},
                 {"retryCount", record.retryCount},
                 {"ownerPid", record.ownerPid},
                 {"size", report.size},
                 {"result", result_json(report.result)}};
  if (report.retry) {
    object["retry"] = {{"attempts", report.retry->attempts},
                       {"maxAttempts", kMaxResendAttempts},
                       {"due", due_time(*report.retry, resend_id(report.folder))}};
  }
  return object;
}

json dump_json(const ReportDetails& details) {
  if (!details.has_dump) return nullptr;
  json dump = {{"file", kReportDumpFile}, {"readable", details.dump.has_value()}};
  if (!details.dump) return dump;
  const minidump::DumpFacts& facts = *details.dump;
  dump["timeStamp"] = facts.time_stamp;
  dump["exceptionCode"] = nullptr;
  if (const auto code = facts.real_exception_code()) dump["exceptionCode"] = hex_code(*code);
  dump["reportId"] = facts.annotations.report_id;
  dump["startupAnnotations"] = facts.annotations.startup;
  dump["liveAnnotations"] = facts.annotations.live;
  return dump;
}

json outcome_json(Action action, const ActionOutcome& outcome) {
  const UploadResult& upload = outcome.upload;
  const bool failed = upload.result != WRENFALL_OK;
  json object = {
      {"folder", path_to_utf8(outcome.folder.filename())},
      {"path", path_to_utf8(outcome.folder)},
      {"result", upload.result},
      {"resultName", result_name(upload.result)},
      {"meaning", result_meaning(upload.result)},
      {"error", upload.error},
      {"kept", outcome.kept},
  };
  if (action == Action::kDiscard) return object;
  object["advice"] = failed ? advice_after_send(outcome) : "";
  object["httpStatus"] = upload.http_status;
  object["crashId"] = upload.crash_id;
  object["stackKeyId"] = upload.stack_key_id;
  object["infoUrl"] = upload.info_url;
  return object;
}

}  // namespace

json list_json(const std::filesystem::path& store, const std::vector<ReportSummary>& reports) {
  json entries = json::array();
  for (const ReportSummary& report : reports) entries.push_back(summary_json(report));
  return {{"store", path_to_utf8(store)}, {"reports", std::move(entries)}};
}

json stores_json(const std::vector<StoreSummary>& stores) {
  json entries = json::array();
  for (const StoreSummary& store : stores) {
    entries.push_back(
        {{"path", path_to_utf8(store.store)}, {"reports", store.reports}, {"size", store.size}});
  }
  return {{"stores", std::move(entries)}};
}

json pruned_json(const Pruned& pruned) {
  json leftovers = json::array();
  for (const PrunedLeftover& one : pruned.leftovers) {
    leftovers.push_back({{"path", path_to_utf8(one.entry)}, {"days", one.days()}});
  }
  json entries = json::array();
  for (const PrunedReport& one : pruned.reports) {
    entries.push_back({{"folder", path_to_utf8(one.report.folder.filename())},
                       {"path", path_to_utf8(one.report.folder)},
                       {"reason", one.reason},
                       {"days", one.days()},
                       {"size", one.report.bytes}});
  }
  return {{"store", path_to_utf8(pruned.store)},
          {"dryRun", pruned.dry_run},
          {"reports", std::move(entries)},
          {"leftovers", std::move(leftovers)}};
}

json details_json(const ReportDetails& details) {
  json files = json::array();
  for (const auto& file : details.files) {
    files.push_back({{"name", file.name}, {"size", file.size}});
  }
  const auto& record = details.summary.record;
  return {{"report", summary_json(details.summary)},
          {"record", record ? parse_json(serialize(*record)) : json(nullptr)},
          {"dump", dump_json(details)},
          {"files", std::move(files)}};
}

json exported_json(const std::filesystem::path& folder, const std::filesystem::path& archive,
                   const ExportOutcome& outcome) {
  return {{"folder", path_to_utf8(folder.filename())},
          {"path", path_to_utf8(folder)},
          {"file", path_to_utf8(archive)},
          {"files", outcome.files}};
}

json outcomes_json(Action action, const std::vector<ActionOutcome>& outcomes) {
  json entries = json::array();
  for (const ActionOutcome& outcome : outcomes) entries.push_back(outcome_json(action, outcome));
  return {{"reports", std::move(entries)}, {"exitCode", result_of(outcomes)}};
}

wrenfall_result result_of(const std::vector<ActionOutcome>& outcomes) {
  const auto failure = std::find_if(
      outcomes.begin(), outcomes.end(),
      [](const ActionOutcome& outcome) { return outcome.upload.result != WRENFALL_OK; });
  return failure == outcomes.end() ? WRENFALL_OK : failure->upload.result;
}

json log_line_json(const LogLine& line) {
  return {{"time", line.time}, {"pid", line.pid}, {"level", line.level}, {"message", line.message}};
}

}  // namespace wrenfall::ctl
