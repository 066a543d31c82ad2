#ifndef WRENFALL_COMPANIONS_CTL_CTL_OUTPUT_H_
#define WRENFALL_COMPANIONS_CTL_CTL_OUTPUT_H_

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ctl/report_actions.h"
#include "ctl/report_details.h"
#include "ctl/report_export.h"
#include "ctl/store_scan.h"
#include "report/store/retention.h"
#include "support/log_line.h"

namespace wrenfall::ctl {

// What the commands print, as text for people and as JSON for programs. Other programs rely on the
// JSON's keys, which docs/wrenfallctl.md documents: never rename one.

std::string list_text(const std::vector<ReportSummary>& reports);
nlohmann::json list_json(const std::filesystem::path& store,
                         const std::vector<ReportSummary>& reports);

std::string stores_text(const std::vector<StoreSummary>& stores);
nlohmann::json stores_json(const std::vector<StoreSummary>& stores);

// A report that prune removed, or would remove.
struct PrunedReport {
  StoredReport report;
  std::string reason;  // "older than 30 days"

  int64_t days() const { return report.age_s / 86400; }
};

// The same of what never became a report, or is left of one.
struct PrunedLeftover {
  std::filesystem::path entry;  // a file or a folder
  int64_t age_s = 0;

  int64_t days() const { return age_s / 86400; }
};

struct Pruned {
  std::filesystem::path store;
  bool dry_run = false;
  std::vector<PrunedReport> reports;
  std::vector<PrunedLeftover> leftovers;
};

// One line about each of them.
std::string pruned_text(const PrunedReport& report, bool dry_run);
std::string pruned_text(const PrunedLeftover& leftover, bool dry_run);
nlohmann::json pruned_json(const Pruned& pruned);

std::string details_text(const ReportDetails& details);
nlohmann::json details_json(const ReportDetails& details);

// About a report that was packed.
std::string exported_text(const std::filesystem::path& folder, const std::filesystem::path& archive,
                          const ExportOutcome& outcome);
nlohmann::json exported_json(const std::filesystem::path& folder,
                             const std::filesystem::path& archive, const ExportOutcome& outcome);

enum class Action { kSend, kDiscard };

// One or two lines about one folder.
std::string outcome_text(Action action, const ActionOutcome& outcome);
nlohmann::json outcomes_json(Action action, const std::vector<ActionOutcome>& outcomes);

// The exit code: the result of the first failure.
wrenfall_result result_of(const std::vector<ActionOutcome>& outcomes);

nlohmann::json log_line_json(const LogLine& line);

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_CTL_OUTPUT_H_
