#include "monitor/report_folder.h"

#include <algorithm>
#include <utility>

#include "monitor/attachment_names.h"
#include "support/files.h"
#include "support/identifiers.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// Asks the file system itself, whose rules of upper and lower case are not repeated here.
bool is_same_file(const fs::path& a, const fs::path& b) {
  std::error_code error;
  return fs::equivalent(a, b, error) && !error;
}

// A copy keeps the attributes of the file, and a read-only one could not be deleted with its
// report.
void make_deletable(const fs::path& file) {
  std::error_code error;
  fs::permissions(file, fs::perms::owner_write, fs::perm_options::add, error);
}

bool is_named(const fs::path& folder, const fs::path& file, const std::vector<std::string>& names) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    return is_same_file(file, folder / utf8_to_path(name));
  });
}

// What lies in the folder although it was not copied just now: an earlier try was cut off, and its
// sources are gone.
void add_earlier_copies(const fs::path& folder, std::vector<std::string>& names) {
  std::vector<std::string> earlier;
  for (const fs::path& file : list_folder(folder)) {
    std::string name = path_to_utf8(file.filename());
    if (is_file(file) && !is_reserved_file_name(name) && !is_named(folder, file, names)) {
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

std::vector<std::string> copy_attachments(const fs::path& folder,
                                          const std::vector<std::string>& paths, Logger& logger) {
  std::vector<std::string> names;
  for (const std::string& path : paths) {
    const fs::path source = utf8_to_path(path);
    // Names are given anew at each try, so that a file copied before is replaced and not numbered.
    const std::string name =
        free_attachment_name(path_to_utf8(source.filename()), [&](const std::string& candidate) {
          return is_named(folder, folder / utf8_to_path(candidate), names);
        });
    const fs::path target = folder / utf8_to_path(name);
    if (!is_file(source)) {
      logger.warn("Attachment not copied, no such file: %s", path.c_str());
    } else if (!copy_file_over(source, target)) {
      logger.warn("Attachment not copied, cannot be read: %s", path.c_str());
    } else {
      make_deletable(target);
      names.push_back(name);
    }
  }
  add_earlier_copies(folder, names);
  return names;
}

std::optional<CrashData> finish_report_folder(const fs::path& folder, ClaimedDump& dump,
                                              const DumpFacts& facts, RecordContext context,
                                              const std::vector<std::string>& attachment_paths,
                                              Logger& logger) {
  context.attachments = copy_attachments(folder, attachment_paths, logger);
  CrashData record = record_from_annotations(facts, context);
  // As soon as there is a record, others may read the dump.
  dump.release();
  if (!save(folder, record)) {
    logger.error("Report record not written: %s", path_to_utf8(folder).c_str());
    return std::nullopt;
  }
  logger.info("Report folder made: %s (%s, process %llu, %llu attachments)",
              path_to_utf8(folder).c_str(), record.reportKind.c_str(),
              static_cast<unsigned long long>(record.processId),
              static_cast<unsigned long long>(record.attachments.size()));
  return record;
}

}  // namespace wrenfall
