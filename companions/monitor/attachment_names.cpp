#include "monitor/attachment_names.h"

#include <algorithm>
#include <string_view>

#include "monitor/record_from_annotations.h"
#include "report/crash_data.h"
#include "report/report_result.h"
#include "support/paths.h"

namespace wrenfall {
namespace {

constexpr std::string_view kArchiveFile = "WrenfallCrash.zip";
// The end of the name under which a record is written before it takes the place of the old one.
constexpr std::string_view kTemporaryEnd = ".tmp";

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool same_name(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [](char x, char y) { return lower(x) == lower(y); });
}

// The system drops blanks and dots at the end of a name, and takes a colon for the name of a stream
// within the file.
std::string clean_name(std::string_view name) {
  std::string clean = sanitize_path_component(name);
  clean.erase(clean.find_last_not_of(". ") + 1);
  return clean.empty() ? "attachment" : clean;
}

}  // namespace

bool is_reserved_file_name(std::string_view name) {
  for (const std::string_view record :
       {std::string_view(kCrashDataFile), std::string_view(kResultFile)}) {
    if (same_name(name, record) || same_name(name, std::string(record).append(kTemporaryEnd))) {
      return true;
    }
  }
  return same_name(name, kArchiveFile) || same_name(name, kReportDumpFile) ||
         same_name(name, kLogFile);
}

std::string free_attachment_name(std::string_view name,
                                 const std::function<bool(const std::string&)>& is_taken) {
  const std::string first = clean_name(name);
  std::string candidate = first;
  // A dot at the start begins no extension.
  const size_t dot = first.rfind('.');
  const size_t stem = dot == std::string::npos || dot == 0 ? first.size() : dot;
  for (unsigned number = 2; is_reserved_file_name(candidate) || is_taken(candidate); ++number) {
    candidate = first.substr(0, stem) + " (" + std::to_string(number) + ")" + first.substr(stem);
  }
  return candidate;
}

}  // namespace wrenfall
