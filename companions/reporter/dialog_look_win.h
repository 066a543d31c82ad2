#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_LOOK_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_LOOK_WIN_H_

#include <windows.h>

#include <filesystem>
#include <string>

#include "reporter/dialog_layout.h"
#include "reporter/dialog_page.h"
#include "reporter/dialog_palette.h"
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

struct BrushTraits {
  using Handle = HBRUSH;
  static Handle empty() { return nullptr; }
  static void close(Handle handle) { DeleteObject(handle); }
};
using ScopedBrush = ScopedHandle<BrushTraits>;

// The dots per inch of the monitor that the window is on. Where the system cannot tell, those of the
// whole system.
unsigned dpi_of(HWND window);

// What the frame of a window of that client area takes, and the edge of an icon (SM_CXICON,
// SM_CXSMICON), on a monitor of these dots per inch.
RECT window_around(const Extent& client, DWORD style, DWORD extended_style, unsigned dpi);
int icon_edge(int metric, unsigned dpi);

// The user's font for messages, and a larger one for headings.
struct DialogFonts {
  ScopedFont text;
  ScopedFont heading;

  HFONT of(ControlKind kind) const {
    return kind == ControlKind::kHeading ? heading.get() : text.get();
  }
};
DialogFonts make_dialog_fonts(unsigned dpi);

// Measures with these fonts.
class FontSizes : public TextSizes {
 public:
  explicit FontSizes(const DialogFonts& fonts) : fonts_(fonts) {}
  Extent extent(ControlKind kind, const std::string& text, int width) const override;

 private:
  const DialogFonts& fonts_;
};

// Tells the system not to scale the dialog's controls when the dots per inch change: the dialog lays
// itself out.
void disable_system_scaling(HWND dialog);

// How the dialog is coloured: as the user has set it for all windows.
struct Appearance {
  bool is_dark = false;
  bool is_high_contrast = false;  // then the palette has the user's own colours
  Palette palette = kLightPalette;
};
Appearance read_appearance();

inline COLORREF system_color(Rgb color) {
  return RGB(color >> 16 & 0xFF, color >> 8 & 0xFF, color & 0xFF);
}
ScopedBrush make_brush(Rgb color);

// Has the system draw the window's frame, or the control's scroll bars, dark or light.
void use_dark_frame(HWND window, bool dark);
void use_dark_scroll_bars(HWND control, bool dark);

// The icon in the file `logo`; without one that of the application's program, and without that the
// system's icon of that name (IDI_WARNING and so on). Both paths may be empty. `size` is in pixels.
struct IconFiles {
  std::filesystem::path logo;
  std::filesystem::path program;
};
ScopedIcon load_dialog_icon(const IconFiles& files, const wchar_t* system_icon, int size);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_LOOK_WIN_H_
