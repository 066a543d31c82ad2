#ifndef WRENFALL_COMPANIONS_COMMON_OPEN_FOLDER_H_
#define WRENFALL_COMPANIONS_COMMON_OPEN_FOLDER_H_

#include <filesystem>

namespace wrenfall {

// Shows the folder in the file manager. False when the system could not open it.
bool open_folder(const std::filesystem::path& folder);

}  // namespace wrenfall

#endif  // WRENFALL_COMPANIONS_COMMON_OPEN_FOLDER_H_
