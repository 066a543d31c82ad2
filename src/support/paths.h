#ifndef WRENFALL_SUPPORT_PATHS_H_
#define WRENFALL_SUPPORT_PATHS_H_

#include <filesystem>
#include <string>
#include <string_view>

namespace wrenfall {

inline constexpr char kMonitorExecutable[] = "WrenfallMonitor.exe";
inline constexpr char kReporterExecutable[] = "WrenfallReporter.exe";
inline constexpr char kHandlerExecutable[] = "crashpad_handler.exe";
inline constexpr char kWerModule[] = "WrenfallWer.dll";

// The text with each character that no Windows file name may hold ("*/:<>?\| and control characters)
// replaced by an underscore.
std::string sanitize_path_component(std::string_view text);

// The name without the blanks and dots at its end. Windows drops them from the last name of a path
// alone, so that a folder is made without them, and is not found in the paths of its files.
template <typename String>
String without_dropped_end(String name) {
  while (!name.empty() && (name.back() == ' ' || name.back() == '.')) name.pop_back();
  return name;
}

// The path as the system understands it: a relative one counts from the current folder, if that is
// known, and blanks and dots at the end are dropped. An empty path stays as it is, and so does a last
// name of nothing else (".."), or one in a path like "\\?\C:\folder ", whose end belongs to the name.
std::filesystem::path absolute_path(const std::filesystem::path& path);

// The absolute path without ".", ".." and a separator at the end, so that one folder has one name
// and the parent is the folder above it. Relative paths count from the current folder; the path
// itself where that is unknown.
std::filesystem::path plain_path(const std::filesystem::path& path);

// <local application data>/Wrenfall, where the stores are whose host named none. Throws as
// default_store_dir does.
std::filesystem::path default_stores_dir();

// <local application data>/Wrenfall/<application>-<version>, not created here. Where the user has
// no such folder, the temporary folder takes its place; where there is none either, throws
// filesystem_error ("temp_directory_path").
std::filesystem::path default_store_dir(std::string_view application, std::string_view version);

// The process's executable; empty where the system does not tell.
std::filesystem::path application_path();

// The folders of the process's executable and of the module that holds this code (the library
// itself).
std::filesystem::path application_dir();
std::filesystem::path library_dir();

// A companion executable beside the host application, else beside the library; empty when neither
// is there.
std::filesystem::path find_monitor_exe();
std::filesystem::path find_reporter_exe();

// The user's folder for local application data, or the temporary folder. Part of default_store_dir.
std::filesystem::path local_data_dir();

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_PATHS_H_
