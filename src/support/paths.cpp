#include "support/paths.h"

#include "support/files.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

fs::path find_companion(const char* executable) {
  for (const fs::path& folder : {application_dir(), library_dir()}) {
    // An empty path would mean the current folder.
    if (folder.empty()) continue;
    fs::path candidate = folder / executable;
    if (path_exists(candidate)) return candidate;
  }
  return {};
}

bool starts_with(const fs::path& path, std::string_view start) {
  return path_to_utf8(fs::path(path).make_preferred()).rfind(start, 0) == 0;
}

// MinGW's library takes "\\server\share" for a path of the current drive, and so it does with "\\?\C:".
constexpr std::string_view kServerStart = R"(\\)";
constexpr std::string_view kExtendedStart = R"(\\?\)";

}  // namespace

std::string sanitize_path_component(std::string_view text) {
  static constexpr std::string_view kForbidden = "\"*/:<>?\\|";
  std::string clean(text);
  for (char& c : clean) {
    const bool is_control = static_cast<unsigned char>(c) < ' ';
    if (is_control || kForbidden.find(c) != std::string_view::npos) c = '_';
  }
  return clean;
}

fs::path absolute_path(const fs::path& path) {
  if (path.empty()) return path;
  const bool is_complete = path.is_absolute() || starts_with(path, kServerStart);
  std::error_code error;
  fs::path absolute = is_complete ? path : fs::absolute(path, error);
  if (error) absolute = path;
  if (starts_with(absolute, kExtendedStart)) return absolute;
  const auto name = without_dropped_end(absolute.filename().native());
  if (!name.empty()) absolute.replace_filename(name);
  return absolute;
}

fs::path plain_path(const fs::path& path) {
  const fs::path absolute = absolute_path(path);
  fs::path plain = absolute.lexically_normal();
  if (starts_with(absolute, kServerStart) && !starts_with(plain, kServerStart)) {
    plain = fs::path::string_type(1, fs::path::preferred_separator) + plain.native();
  }
  return plain.has_filename() ? plain : plain.parent_path();
}

fs::path default_stores_dir() { return local_data_dir() / "Wrenfall"; }

fs::path default_store_dir(std::string_view application, std::string_view version) {
  const std::string leaf =
      sanitize_path_component(application) + "-" + sanitize_path_component(version);
  return default_stores_dir() / utf8_to_path(without_dropped_end(leaf));
}

fs::path find_monitor_exe() { return find_companion(kMonitorExecutable); }
fs::path find_reporter_exe() { return find_companion(kReporterExecutable); }

}  // namespace wrenfall
