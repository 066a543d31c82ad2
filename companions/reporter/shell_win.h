#ifndef WRENFALL_COMPANIONS_REPORTER_SHELL_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_SHELL_WIN_H_

#include <windows.h>

#include <filesystem>
#include <string>

#include "reporter/application_start.h"

namespace wrenfall::reporter {

// Shows the folder in the file manager. False when the system could not open it.
bool open_folder(HWND owner, const std::filesystem::path& folder);

// Opens the file with the program of its type. False when there is none. The caller has asked
// is_safe_to_open().
bool open_file(HWND owner, const std::filesystem::path& file);

// Puts the text on the clipboard. While another program has the clipboard open, it waits for up to
// half a second; false when that was not enough, or memory is short.
bool copy_text(HWND owner, const std::string& text);

// Opens the address in the user's browser. False when the system could not. The caller has checked
// the address with support_page_for().
bool open_web_page(HWND owner, const std::string& address);

// Starts it in its folder, or where that cannot be used any more, in the program's; with the rights and the
// environment of this process, which come from the application itself. False when it does not start.
bool start_application(const ApplicationStart& application);

// Whether this process has a desktop that a user sees; a service has none.
bool has_visible_desktop();

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_SHELL_WIN_H_
