#include "ctl/report_details.h"

#include <algorithm>
#include <utility>

#include "backend/breadcrumb_layout.h"
#include "common/shared_file.h"
#include "report/store/layout.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall::ctl {
namespace {

std::vector<ReportDetails::File> files_of(const std::filesystem::path& folder) {
  std::vector<ReportDetails::File> files;
  for (const std::filesystem::path& file : list_folder(folder)) {
    files.push_back({path_to_utf8(file.filename()), size_of_file(file).value_or(0)});
  }
  std::sort(files.begin(), files.end(),
            [](const auto& a, const auto& b) { return a.name < b.name; });
  return files;
}

// They are in a file of their own; their annotations are no text.
void leave_out_breadcrumbs(std::map<std::string, std::string>& annotations) {
  const std::string prefix = breadcrumb_layout::kKeyPrefix;
  for (auto one = annotations.lower_bound(prefix);
       one != annotations.end() && one->first.compare(0, prefix.size(), prefix) == 0;) {
    one = annotations.erase(one);
  }
}

}  // namespace

std::optional<ReportDetails> read_report_details(const std::filesystem::path& folder) {
  ReportDetails details;
  auto summary = summarize_report(folder);
  if (!summary) return std::nullopt;
  details.summary = std::move(*summary);
  details.files = files_of(folder);
  // The record names the dump too, but that name could be a path to any other file.
  const std::filesystem::path dump = folder / kReportDumpFile;
  details.has_dump = is_file(dump);
  const SharedFile file(dump);
  if (file.is_open()) {
    details.dump =
        minidump::read_minidump([&file](uint64_t offset, void* buffer,
                                        size_t size) { return file.read_at(offset, buffer, size); },
                                file.size());
  }
  if (details.dump) leave_out_breadcrumbs(details.dump->annotations.live);
  return details;
}

}  // namespace wrenfall::ctl
