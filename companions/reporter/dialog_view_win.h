#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_VIEW_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_VIEW_WIN_H_

#include <windows.h>

#include <vector>

#include "reporter/dialog_controls_win.h"
#include "reporter/dialog_layout.h"
#include "reporter/dialog_look_win.h"
#include "reporter/dialog_page.h"

namespace wrenfall::reporter {

// The styles of the dialog's window. How much its frame takes depends on them.
inline constexpr DWORD kDialogStyle = WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN;
inline constexpr DWORD kDialogExtendedStyle = WS_EX_CONTROLPARENT | WS_EX_APPWINDOW;

// What is inside the dialog's window: places the controls of a page, scrolls them, paints what is
// behind them, and gives the window the size that they need. Fonts, icons and layout follow the dots
// per inch of the monitor; colours follow what the user has set for all windows. The window belongs to
// the caller, which passes on its messages. Used by the dialog's thread alone.
class DialogView {
 public:
  explicit DialogView(IconFiles icons);
  DialogView(const DialogView&) = delete;
  DialogView& operator=(const DialogView&) = delete;

  // Makes the controls. False when one could not be made. Nothing else may be called before.
  bool create(HWND window);
  // Makes the window as large as the largest of these pages, in the middle of its monitor.
  void fit_window(const std::vector<DialogPage>& pages);

  DialogControls& controls() { return controls_; }
  const DialogPage& page() const { return page_; }
  // Shows the page from its top.
  void show(const DialogPage& page);
  // Shows the page that is shown with other texts.
  void refresh(const DialogPage& page);
  // After the focus may have moved. Its field gets a frame of another colour, and what is scrolled out
  // of sight is shown.
  void follow_focus();

  // The window's messages:
  void lay_out();
  void scroll(int request);  // SB_LINEUP and so on
  void use_dpi(unsigned dpi, const RECT& wanted);
  void use_settings();
  POINT least_size() const;  // of the whole window
  HBRUSH color_control(HDC context, HWND control) const;
  void paint_background(HDC context) const;

 private:
  void read_settings();
  void load_fonts(unsigned dpi);
  void load_icons();
  void scroll_to(int offset);
  RECT client_area() const;
  Extent largest_client() const;
  void resize(const Extent& client, bool to_middle);
  void grow_to_page();

  const IconFiles icon_files_;
  HWND window_ = nullptr;
  Appearance appearance_;
  DialogControls controls_;
  DialogFonts fonts_;
  ScopedBrush window_brush_;
  ScopedBrush field_brush_;
  ScopedBrush footer_brush_;
  ScopedIcon icon_;
  ScopedIcon small_icon_;
  ScopedIcon large_icon_;
  unsigned dpi_ = USER_DEFAULT_SCREEN_DPI;
  DialogPage page_;
  PlacedPage placed_;
  int scrolled_ = 0;  // pixels of the page above the window's upper edge
  HWND last_focus_ = nullptr;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_VIEW_WIN_H_
