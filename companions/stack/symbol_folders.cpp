#include "stack/symbol_folders.h"

#include "support/paths.h"
#include "support/text.h"

namespace wrenfall::stack {

namespace fs = std::filesystem;

std::vector<fs::path> split_folders(std::string_view text) {
  std::vector<fs::path> folders;
  while (!text.empty()) {
    const size_t end = text.find(';');
    const std::string_view folder = text.substr(0, end);
    if (!folder.empty() && folder.find('*') == std::string_view::npos) {
      folders.push_back(plain_path(utf8_to_path(folder)));
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return folders;
}

bool is_on_a_drive(std::string_view path) {
  return path.size() > 3 && ascii_lower(path[0]) >= 'a' && ascii_lower(path[0]) <= 'z' &&
         path[1] == ':' && path[2] == '\\';
}

std::vector<fs::path> places_of_image(const minidump::DumpModule& module,
                                      const std::vector<fs::path>& folders) {
  std::vector<fs::path> places;
  const std::string name = module.name();
  if (name.empty() || name.find(':') != std::string::npos) return places;
  for (const fs::path& folder : folders) places.push_back(folder / utf8_to_path(name));
  if (is_on_a_drive(module.path)) places.push_back(utf8_to_path(module.path));
  return places;
}

std::vector<fs::path> places_of_debug_file(const fs::path& image, const DebugLink& link,
                                           const std::vector<fs::path>& folders) {
  const fs::path name = utf8_to_path(link.file);
  std::vector<fs::path> places;
  places.reserve(folders.size() + 1);
  for (const fs::path& folder : folders) places.push_back(folder / name);
  places.push_back(image.parent_path() / name);
  return places;
}

}  // namespace wrenfall::stack
