#include "report/store/attachments.h"

#include <algorithm>
#include <string_view>

#include "report/store/report_files.h"
#include "support/files.h"
#include "support/paths.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// What every file system takes as a name.
constexpr size_t kMaxNameBytes = 255;

// The system drops blanks and dots at the end of a name, and takes a colon for the name of a stream
// within the file.
std::string clean_name(std::string_view name) {
  std::string clean = sanitize_path_component(name);
  clean.erase(clean.find_last_not_of(". ") + 1);
  return clean.empty() ? "attachment" : clean;
}

// The name with a number before its extension, which begins at `stem`; the rest is cut so that the
// whole is not too long.
std::string numbered_name(const std::string& name, size_t stem, unsigned number) {
  const std::string tail = " (" + std::to_string(number) + ")" + name.substr(stem);
  size_t length = std::min(stem, kMaxNameBytes - std::min(kMaxNameBytes, tail.size()));
  // Do not cut a UTF-8 character in two.
  while (length > 0 && length < stem && (name[length] & 0xC0) == 0x80) --length;
  return name.substr(0, length) + tail;
}

// Asks the file system itself, whose rules of upper and lower case are not repeated here.
bool is_among(const fs::path& folder, const std::string& name,
              const std::vector<std::string>& names) {
  const fs::path path = folder / utf8_to_path(name);
  if (!path_exists(path)) return false;
  if (std::find(names.begin(), names.end(), name) != names.end()) return true;
  std::error_code error;
  return std::any_of(names.begin(), names.end(), [&](const std::string& other) {
    return fs::equivalent(path, folder / utf8_to_path(other), error);
  });
}

// A copy keeps the attributes of the file, and a read-only one could not be deleted with its
// report.
void make_deletable(const fs::path& file) {
  std::error_code error;
  fs::permissions(file, fs::perms::owner_write, fs::perm_options::add, error);
}

}  // namespace

std::string free_attachment_name(std::string_view name,
                                 const std::function<bool(const std::string&)>& is_taken) {
  const std::string first = clean_name(name);
  std::string candidate = first;
  // A dot at the start begins no extension.
  const size_t dot = first.rfind('.');
  const size_t stem = dot == std::string::npos || dot == 0 ? first.size() : dot;
  for (unsigned number = 2; is_reserved_file_name(candidate) || is_taken(candidate); ++number) {
    candidate = numbered_name(first, stem, number);
  }
  return candidate;
}

std::vector<std::string> copy_attachments(const fs::path& folder,
                                          const std::vector<std::string>& paths, SameName rule,
                                          Logger& logger) {
  std::vector<std::string> names;
  for (const std::string& path : paths) {
    const fs::path source = utf8_to_path(path);
    const std::string name =
        free_attachment_name(path_to_utf8(source.filename()), [&](const std::string& candidate) {
          return rule == SameName::kGetsANumber && is_among(folder, candidate, names);
        });
    const fs::path target = folder / utf8_to_path(name);
    if (is_file(source) && copy_file_over(source, target)) {
      make_deletable(target);
      if (!is_among(folder, name, names)) names.push_back(name);
      continue;
    }
    // Remove a partial copy, so that nobody takes it for the file.
    remove_entry(target);
    logger.warn("Attachment not copied, %s: %s",
                is_file(source) ? "cannot be read" : "no such file", path.c_str());
  }
  return names;
}

}  // namespace wrenfall
