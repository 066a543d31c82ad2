#ifndef WRENFALL_COMPANIONS_REPORTER_SHELL_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_SHELL_WIN_H_

#include <windows.h>

#include <filesystem>
#include <string>

namespace wrenfall::reporter {

// Shows the folder in the file manager. False when the system could not open it.
bool open_folder(HWND owner, const std::filesystem::path& folder);

// Opens the address in the user's browser. False when the system could not. The caller has checked
// the address with support_page_for().
bool open_web_page(HWND owner, const std::string& address);

// Whether this process has a desktop that a user sees; a service has none.
bool has_visible_desktop();

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_SHELL_WIN_H_
