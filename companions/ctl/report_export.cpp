#include "ctl/report_export.h"

#include <new>
#include <utility>
#include <vector>

#include "report/store/folder_claim.h"
#include "report/store/layout.h"
#include "report/store/report_files.h"
#include "support/files.h"
#include "support/identifiers.h"
#include "support/text.h"
#include "upload/report_archive.h"

namespace wrenfall::ctl {

namespace fs = std::filesystem;

namespace {

ExportOutcome refuse(wrenfall_result result, std::string error) {
  return {result, std::move(error), 0};
}

// An archive while it is written. It is removed unless it took its place.
class UnfinishedArchive {
 public:
  explicit UnfinishedArchive(fs::path file) : file_(std::move(file)) {}
  ~UnfinishedArchive() {
    if (is_in_place_) return;
    try {
      remove_file(file_);
    } catch (const std::bad_alloc&) {
      // Without memory for its name it stays.
    }
  }
  UnfinishedArchive(const UnfinishedArchive&) = delete;
  UnfinishedArchive& operator=(const UnfinishedArchive&) = delete;

  const fs::path& file() const { return file_; }
  bool put_in_place(const fs::path& place) {
    is_in_place_ = replace_file(file_, place);
    return is_in_place_;
  }

 private:
  const fs::path file_;
  bool is_in_place_ = false;
};

}  // namespace

ExportOutcome export_report(const fs::path& folder, const fs::path& archive, bool replace) {
  const std::string file = path_to_utf8(archive);
  if (!is_file(folder / kCrashDataFile)) {
    return refuse(WRENFALL_ERROR_INVALID_ARGUMENT,
                  path_to_utf8(folder) + " is no report: it has no record.");
  }
  // The next upload would take it along.
  if (is_same_entry(archive.parent_path(), folder)) {
    return refuse(WRENFALL_ERROR_INVALID_ARGUMENT, file + " would lie in the report's own folder.");
  }
  if (path_exists(archive) && (!replace || !is_file(archive))) {
    return refuse(WRENFALL_ERROR_FILE, file + " is there already. --force replaces a file.");
  }
  const auto claim = FolderClaim::try_take(folder);
  if (!claim) {
    return refuse(WRENFALL_ERROR_FILE, "Another process is sending or deleting the report.");
  }
  FilesToSend found = files_to_send(folder);
  for (const char* const own : {kCrashDataFile, kResultFile}) {
    if (is_file(folder / own)) found.files.push_back(folder / own);
  }
  // A name that nobody has: what lies beside the archive is not this tool's to overwrite.
  UnfinishedArchive unfinished(fs::path(archive) +=
                               "." + new_uuid().substr(0, 8) + kTemporarySuffix);
  if (!found.listed || !write_archive(found.files, unfinished.file())) {
    return refuse(WRENFALL_ERROR_FILE,
                  "A file of the report cannot be read, or " + file + " cannot be written.");
  }
  if (!unfinished.put_in_place(archive)) {
    return refuse(WRENFALL_ERROR_FILE, file + " cannot be replaced: it may be in use.");
  }
  return {WRENFALL_OK, "", found.files.size()};
}

}  // namespace wrenfall::ctl
