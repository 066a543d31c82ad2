#include "reporter/file_listing.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "report/store/layout.h"
#include "report/store/report_files.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall::reporter {

namespace fs = std::filesystem;

namespace {

bool may_be_left_out(const std::string& name, const CrashData& record) {
  if (name == record.dumpFile || is_reserved_file_name(name)) return false;
  // Where the host left no breadcrumbs, a file that it attached may have their name.
  const auto& attached = record.attachments;
  return name != kBreadcrumbsFile ||
         std::find(attached.begin(), attached.end(), name) != attached.end();
}

}  // namespace

std::vector<ListedFile> list_files_to_send(const fs::path& folder, const CrashData& record) {
  std::vector<ListedFile> files;
  try {
    for (const fs::path& file : files_to_send(folder).files) {
      ListedFile listed;
      listed.name = path_to_utf8(file.filename());
      listed.bytes = size_of_file(file).value_or(0);
      listed.is_optional = may_be_left_out(listed.name, record);
      files.push_back(std::move(listed));
    }
  } catch (const fs::filesystem_error&) {
    // The list only informs the user; sending reports an unreadable folder.
  }
  return files;
}

std::vector<ListedFile> list_again(const std::vector<ListedFile>& before, const fs::path& folder,
                                   const CrashData& record) {
  std::vector<ListedFile> files = list_files_to_send(folder, record);
  for (ListedFile& file : files) {
    file.is_wanted = std::none_of(before.begin(), before.end(), [&](const ListedFile& listed) {
      return listed.name == file.name && !listed.is_wanted;
    });
  }
  return files;
}

uint64_t total_size(const std::vector<ListedFile>& files) {
  uint64_t total = 0;
  for (const ListedFile& file : files) total += file.is_wanted ? file.bytes : 0;
  return total;
}

bool is_safe_to_open(const std::string& name) {
  static constexpr std::string_view kTypes[] = {".bmp", ".csv", ".dmp", ".gif",  ".ini",
                                                ".jpg", ".log", ".png", ".jpeg", ".json",
                                                ".md",  ".txt", ".xml", ".zip"};
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos) return false;
  const std::string_view type = std::string_view(name).substr(dot);
  return std::any_of(std::begin(kTypes), std::end(kTypes), [&](std::string_view known) {
    return equal_ignoring_ascii_case(type, known);
  });
}

}  // namespace wrenfall::reporter
