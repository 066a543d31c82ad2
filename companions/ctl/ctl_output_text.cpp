#include <map>
#include <utility>

#include "common/size_text.h"
#include "ctl/ctl_output.h"
#include "ctl/output_text.h"
#include "report/store/layout.h"
#include "support/encoding.h"
#include "support/result_names.h"
#include "support/text.h"

namespace wrenfall::ctl {
namespace {

std::string name_of(const std::filesystem::path& folder) {
  return escape_for_terminal(path_to_utf8(folder.filename()));
}

std::string or_dash(const std::string& text) {
  return text.empty() ? "-" : escape_for_terminal(text);
}

using Rows = std::vector<std::vector<std::string>>;

// Adds a row, unless the value is empty, as many are in most records.
void add_fact(Rows& rows, const std::string& name, const std::string& value) {
  if (!value.empty())
    rows.push_back({"  " + escape_for_terminal(name), escape_for_terminal(value)});
}

std::string result_text(const ReportResult& result) {
  return result.status + (result.cancelled ? " (cancelled)" : "") + ", " +
         describe_result(result.errorCode) + ", http " + std::to_string(result.httpStatus);
}

Rows summary_rows(const ReportSummary& summary) {
  Rows rows;
  add_fact(rows, "state", summary.state_text());
  add_fact(rows, "size", size_text(summary.size));
  if (summary.result) add_fact(rows, "last attempt", result_text(*summary.result));
  return rows;
}

Rows record_rows(const CrashData& record) {
  Rows rows;
  const std::pair<const char*, const std::string&> texts[] = {
      {"kind", record.reportKind},
      {"time", record.crashTime},
      {"application", record.appName},
      {"version", record.appVersion},
      {"database", record.database},
      {"crash type", record.crashTypeId},
      {"exception", record.signalOrExceptionCode},
      {"signature", record.crashSignature},
      {"key", record.key},
      {"user", record.user},
      {"email", record.email},
      {"description", record.userDescription},
      {"notes", record.notes},
      {"environment", record.environment},
      {"system", record.osVersion},
      {"architecture", record.arch},
      {"dump type", record.dumpType},
      {"upload policy", record.uploadPolicy},
      {"library", record.sdkVersion},
  };
  for (const auto& [name, value] : texts) add_fact(rows, name, value);
  if (record.hangDurationMs != 0) {
    add_fact(rows, "hang", std::to_string(record.hangDurationMs) + " ms");
  }
  add_fact(rows, "process", std::to_string(record.processId));
  add_fact(rows, "failed attempts", std::to_string(record.retryCount));
  if (record.ownerPid != 0) add_fact(rows, "owner process", std::to_string(record.ownerPid));
  for (const auto& [name, value] : record.attributes) add_fact(rows, "attribute " + name, value);
  for (const std::string& name : record.attachments) add_fact(rows, "attachment", name);
  return rows;
}

Rows annotation_rows(const std::map<std::string, std::string>& annotations) {
  Rows rows;
  for (const auto& [name, value] : annotations) add_fact(rows, name, value);
  return rows;
}

std::string section(const std::string& title, const Rows& rows) {
  return rows.empty() ? "" : title + "\n" + table(rows);
}

std::string dump_text(const minidump::DumpFacts& dump) {
  std::string text = "Dump\n";
  if (const auto code = dump.real_exception_code()) {
    text += table({{"  exception", hex_code(*code)}});
  } else {
    text += "  no exception\n";
  }
  return text + section("Annotations from the start", annotation_rows(dump.annotations.startup)) +
         section("Annotations at the end", annotation_rows(dump.annotations.live));
}

const char* removal_text(bool dry_run) { return dry_run ? ": would be removed" : ": removed"; }

}  // namespace

std::string list_text(const std::vector<ReportSummary>& reports) {
  if (reports.empty()) return "no reports\n";
  Rows rows = {{"STATE", "KIND", "TIME", "SIZE", "ATTEMPTS", "POLICY", "FOLDER"}};
  for (const ReportSummary& report : reports) {
    const std::string size = size_text(report.size);
    const std::string name = name_of(report.folder);
    if (!report.record) {
      rows.push_back({report.state, "-", "-", size, "0", "-", name});
      continue;
    }
    const CrashData& record = *report.record;
    rows.push_back({report.state_text(), or_dash(record.reportKind), or_dash(record.crashTime),
                    size, std::to_string(report.attempts()), or_dash(record.uploadPolicy), name});
  }
  return table(rows);
}

std::string stores_text(const std::vector<StoreSummary>& stores) {
  if (stores.empty()) return "no stores\n";
  Rows rows = {{"REPORTS", "SIZE", "STORE"}};
  for (const StoreSummary& store : stores) {
    rows.push_back({std::to_string(store.reports), size_text(store.size),
                    escape_for_terminal(path_to_utf8(store.store))});
  }
  return table(rows);
}

std::string pruned_text(const PrunedReport& report, bool dry_run) {
  return name_of(report.report.folder) + removal_text(dry_run) + ", " + report.reason + " (" +
         std::to_string(report.days()) + " days old, " + size_text(report.report.bytes) + ")\n";
}

std::string pruned_text(const PrunedLeftover& leftover, bool dry_run) {
  return name_of(leftover.entry) + removal_text(dry_run) + ", a leftover (" +
         std::to_string(leftover.days()) + " days old)\n";
}

std::string details_text(const ReportDetails& details) {
  std::string text = escape_for_terminal(path_to_utf8(details.summary.folder)) + "\n";
  text += table(summary_rows(details.summary));
  if (details.summary.record) text += section("Record", record_rows(*details.summary.record));
  if (details.dump) text += dump_text(*details.dump);
  if (details.has_dump && !details.dump) {
    text +=
        "Dump\n  " + std::string(kReportDumpFile) + " cannot be read: it is damaged or in use\n";
  }
  Rows files;
  for (const auto& file : details.files) {
    files.push_back({"  " + std::to_string(file.size), escape_for_terminal(file.name)});
  }
  return text + section("Files", files);
}

std::string exported_text(const std::filesystem::path& folder, const std::filesystem::path& archive,
                          const ExportOutcome& outcome) {
  return name_of(folder) + ": " + std::to_string(outcome.files) + " files packed into " +
         escape_for_terminal(path_to_utf8(archive)) + "\n";
}

std::string outcome_text(Action action, const ActionOutcome& outcome) {
  const UploadResult& upload = outcome.upload;
  const std::string name = name_of(outcome.folder);
  if (upload.result != WRENFALL_OK) {
    std::string text = name + ": " + describe_result(upload.result);
    if (upload.http_status != 0) text += " (http " + std::to_string(upload.http_status) + ")";
    if (!upload.error.empty()) text += "\n  " + escape_for_terminal(upload.error);
    return text + (action == Action::kSend ? "\n  " + advice_after_send(outcome) : "") + "\n";
  }
  if (action == Action::kDiscard) return name + ": discarded\n";
  std::string text = name + ": sent, crash " + std::to_string(upload.crash_id) + ", stack key " +
                     std::to_string(upload.stack_key_id);
  if (!upload.info_url.empty()) text += ", " + escape_for_terminal(upload.info_url);
  if (outcome.kept) text += "\n  Not all files of the folder could be deleted: discard it later.";
  return text + "\n";
}

}  // namespace wrenfall::ctl
