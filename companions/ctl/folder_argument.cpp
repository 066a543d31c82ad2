#include "ctl/folder_argument.h"

#include <vector>

#include "report/store/report_store.h"
#include "support/files.h"
#include "support/paths.h"
#include "support/text.h"

namespace wrenfall::ctl {

namespace fs = std::filesystem;

namespace {

// Upper and lower case of ASCII letters are the same, as they are for the file system.
bool starts_with(const std::string& name, const std::string& start) {
  return equal_ignoring_ascii_case(name.substr(0, start.size()), start);
}

std::vector<fs::path> folders_that_start_with(const fs::path& store, const std::string& start) {
  std::vector<fs::path> found;
  for (const fs::path& entry : list_folder(store)) {
    if (starts_with(path_to_utf8(entry.filename()), start) && is_folder(entry) &&
        !is_own_folder(entry)) {
      found.push_back(entry);
    }
  }
  return found;
}

}  // namespace

FolderArgument find_report_folder(const fs::path& store, std::string argument) {
  // Shells put a separator at the end when they complete a folder's name.
  while (argument.size() > 1 && (argument.back() == '/' || argument.back() == '\\')) {
    argument.pop_back();
  }
  const fs::path path = utf8_to_path(argument);
  if (store.empty() || path.has_root_path() || path.has_parent_path()) {
    return {plain_path(path), ""};
  }
  const fs::path folder = plain_path(store / path);
  if (path_exists(folder)) return {folder, ""};
  const std::vector<fs::path> found = folders_that_start_with(store, argument);
  if (found.empty()) return {folder, ""};
  if (found.size() == 1) return {found.front(), ""};
  return {folder, std::to_string(found.size()) + " names in the store start like this"};
}

}  // namespace wrenfall::ctl
