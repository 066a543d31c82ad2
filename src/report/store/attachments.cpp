#include "report/store/attachments.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "report/store/layout.h"
#include "report/store/report_files.h"
#include "report/store/retry_file.h"
#include "support/files.h"
#include "support/json_text.h"
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
  std::string clean = without_dropped_end(sanitize_path_component(name));
  return clean.empty() ? "attachment" : clean;
}

// The name with a number before its extension, which begins at `stem`; the rest is cut so that the
// whole is not too long.
std::string numbered_name(const std::string& name, size_t stem, unsigned number) {
  const std::string tail = " (" + std::to_string(number) + ")" + name.substr(stem);
  const size_t room = kMaxNameBytes - std::min(kMaxNameBytes, tail.size());
  return std::string(cut_utf8(std::string_view(name).substr(0, stem), room)) + tail;
}

// The one of the names that leads to the same file of the folder as `name` does; empty when there is
// none. Asks the file system itself, whose rules of upper and lower case and of short names are not
// repeated here.
template <typename Names>
std::string same_among(const fs::path& folder, const std::string& name, const Names& names) {
  const fs::path path = folder / utf8_to_path(name);
  if (!path_exists(path)) return {};
  const auto same = std::find_if(std::begin(names), std::end(names), [&](const std::string& other) {
    return name == other || is_same_entry(path, folder / utf8_to_path(other));
  });
  return same == std::end(names) ? std::string() : std::string(*same);
}

// Bytes that are not UTF-8 have become U+FFFD when the path comes out of a session file.
const char* why_not_copied(const fs::path& source, const std::string& path) {
  if (is_file(source)) return "cannot be read";
  const bool was_utf8 = valid_utf8(path).find("\xEF\xBF\xBD") == std::string::npos;
  return was_utf8 ? "no such file" : "no such file, its path is not UTF-8";
}

}  // namespace

std::string AttachmentNames::free_name(std::string_view name) {
  std::string first = clean_name(name);
  if (equal_ignoring_ascii_case(first, kLogFile)) first = kAttachedLogFile;
  // A dot at the start begins no extension.
  const size_t dot = first.rfind('.');
  const size_t stem = dot == std::string::npos || dot == 0 ? first.size() : dot;
  std::string key = first;
  std::transform(key.begin(), key.end(), key.begin(), ascii_lower);
  unsigned& number = next_numbers_.try_emplace(std::move(key), 1).first->second;
  for (;; ++number) {
    std::string candidate = number == 1 ? first : numbered_name(first, stem, number);
    if (!is_reserved_file_name(candidate) && !is_taken_(candidate)) return candidate;
  }
}

std::vector<std::string> copy_attachments(const fs::path& folder,
                                          const std::vector<std::string>& paths, SameName rule,
                                          Logger& logger, const std::vector<std::string>& written,
                                          std::function<void()> wait_for_release) {
  const fs::path temporary = folder / kAttachmentTemporary;
  // A read-only one that an interrupted call left could not be replaced.
  remove_entry(temporary);
  std::vector<std::string> names;
  const bool is_resent = read_retry(folder).has_value();
  constexpr const char* retry_file[] = {kRetryFile};
  AttachmentNames free_names([&](const std::string& candidate) {
    return !same_among(folder, candidate, kOwnFiles).empty() ||
           !same_among(folder, candidate, written).empty() ||
           (is_resent && !same_among(folder, candidate, retry_file).empty()) ||
           (rule == SameName::kAddNumber && !same_among(folder, candidate, names).empty());
  });
  const auto copy = [&](const fs::path& source) {
    while (is_file(source)) {
      if (copy_file_over(source, temporary)) return true;
      if (!wait_for_release) return false;
      std::exchange(wait_for_release, nullptr)();
    }
    return false;
  };
  for (const std::string& path : paths) {
    const fs::path source = utf8_to_path(path);
    if (copy(source)) {
      // A read-only copy could not be deleted with its report, and one with an old time would pass for
      // a temporary file that somebody left behind.
      reset_copied_attributes(temporary);
      std::string name = free_names.free_name(path_to_utf8(source.filename()));
      const std::string listed = same_among(folder, name, names);
      // A file that is replaced keeps the name that the list has for it.
      if (replace_file(temporary, folder / utf8_to_path(listed.empty() ? name : listed))) {
        if (listed.empty()) names.push_back(std::move(name));
        continue;
      }
    }
    // Remove a partial copy.
    remove_entry(temporary);
    logger.warn("Attachment not copied, %s: %s", why_not_copied(source, path), path.c_str());
  }
  return names;
}

}  // namespace wrenfall
