#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_LOOK_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_LOOK_WIN_H_

#include <windows.h>

#include <filesystem>

#include "support/win_handle.h"

namespace wrenfall::reporter {

struct FontTraits {
  using Handle = HFONT;
  static Handle empty() { return nullptr; }
  static void close(Handle handle) { DeleteObject(handle); }
};
using ScopedFont = ScopedHandle<FontTraits>;

struct IconTraits {
  using Handle = HICON;
  static Handle empty() { return nullptr; }
  static void close(Handle handle) { DestroyIcon(handle); }
};
using ScopedIcon = ScopedHandle<IconTraits>;

// The dots per inch of the monitor that the window is on. Where the system cannot tell, those of the
// whole system.
unsigned dpi_of(HWND window);

// The user's font for messages, and a larger one for headings.
struct DialogFonts {
  ScopedFont text;
  ScopedFont heading;
};
DialogFonts make_dialog_fonts(unsigned dpi);

// Tells the system not to scale the dialog's controls when the dots per inch change: the dialog lays
// itself out.
void disable_system_scaling(HWND dialog);

// The icon in the file `logo`. When the path is empty or the file is no icon, the system's icon of
// that name (IDI_WARNING and so on). `size` is in pixels.
ScopedIcon load_dialog_icon(const std::filesystem::path& logo, const wchar_t* system_icon,
                            int size);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_LOOK_WIN_H_
