#ifndef WRENFALL_SUPPORT_SYSTEM_PATH_WIN_H_
#define WRENFALL_SUPPORT_SYSTEM_PATH_WIN_H_

#include <filesystem>
#include <string>

namespace wrenfall {

// A full path, with backslashes and without "." and "..", in the form that the system takes whatever
// its length: "\\?\C:\..." or "\\?\UNC\server\share\...". What has that form, or names a device, stays
// as it is.
std::wstring extended_path(const std::wstring& full);

// The name of a file for the system's calls. Without it, they take no more than 259 characters, and for
// a folder that is to be made 247, unless the program's manifest and a setting of the machine both say
// otherwise. A short path stays as it is.
std::wstring system_path(const std::filesystem::path& path);

// The same for a folder in which another program, which knows nothing of this, makes files whose names
// within it have up to `longest_name` characters.
std::wstring system_folder(const std::filesystem::path& path, size_t longest_name);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_SYSTEM_PATH_WIN_H_
