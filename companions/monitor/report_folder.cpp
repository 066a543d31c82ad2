#include "monitor/report_folder.h"

#include <algorithm>
#include <utility>

#include "monitor/shown_thread.h"
#include "report/breadcrumb_file.h"
#include "report/store/attachments.h"
#include "report/store/layout.h"
#include "report/store/report_files.h"
#include "report/store/retry_file.h"
#include "support/files.h"
#include "support/identifiers.h"
#include "support/text.h"

namespace wrenfall::monitor {

namespace fs = std::filesystem;

namespace {

bool is_named(const fs::path& folder, const fs::path& file, const std::vector<std::string>& names) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    return is_same_entry(file, folder / utf8_to_path(name));
  });
}

// Adds the files that an earlier, interrupted attempt copied and whose sources are gone since.
void add_earlier_copies(const fs::path& folder, const std::vector<std::string>& written,
                        std::vector<std::string>& names) {
  std::vector<std::string> earlier;
  for (const fs::path& file : list_folder(folder)) {
    std::string name = path_to_utf8(file.filename());
    if (is_file(file) && !is_reserved_file_name(name) && !is_retry_file(file) &&
        !is_named(folder, file, written) && !is_named(folder, file, names)) {
      earlier.push_back(std::move(name));
    }
  }
  std::sort(earlier.begin(), earlier.end());
  names.insert(names.end(), earlier.begin(), earlier.end());
}

}  // namespace

std::optional<fs::path> move_into_new_folder(const fs::path& store, ClaimedDump& dump,
                                             Logger& logger) {
  fs::path folder = store / new_uuid();
  if (!create_folders(folder)) {
    logger.error("Report folder not made: %s", path_to_utf8(folder).c_str());
    return std::nullopt;
  }
  if (!dump.move_to(folder / kReportDumpFile)) {
    logger.error("Dump not moved to %s (error %lu)", path_to_utf8(folder).c_str(),
                 static_cast<unsigned long>(dump.error()));
    remove_folder(folder);
    return std::nullopt;
  }
  return folder;
}

std::optional<CrashData> finish_report_folder(const fs::path& folder, ClaimedDump& dump,
                                              const minidump::DumpFacts& facts,
                                              RecordContext context,
                                              const std::vector<std::string>& attachment_paths,
                                              Logger& logger,
                                              std::function<void()> wait_for_release) {
  show_thread_of_interest(dump, facts, logger);
  const auto written = write_breadcrumbs(folder, breadcrumbs_in(facts.annotations.live), logger);
  context.attachments = copy_attachments(folder, attachment_paths, SameName::kAddNumber, logger,
                                         written, std::move(wait_for_release));
  add_earlier_copies(folder, written, context.attachments);
  CrashData record = record_from_annotations(facts, context);
  const bool saved = save(folder, record);
  // Held until here, so that no other monitor takes the folder for one that was left half-made.
  dump.release();
  if (!saved) {
    logger.error("Report record not written: %s", path_to_utf8(folder).c_str());
    return std::nullopt;
  }
  logger.info("Report folder made: %s (%s, process %llu, %llu attachments)",
              path_to_utf8(folder).c_str(), record.reportKind.c_str(),
              static_cast<unsigned long long>(record.processId),
              static_cast<unsigned long long>(record.attachments.size()));
  return record;
}

}  // namespace wrenfall::monitor
