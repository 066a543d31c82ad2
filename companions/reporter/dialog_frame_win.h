#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_FRAME_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_FRAME_WIN_H_

#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

#include "reporter/dialog_controls_win.h"
#include "reporter/dialog_look_win.h"
#include "reporter/dialog_pages_win.h"

namespace wrenfall::reporter {

// The events that the dialog's owner handles. Called on the window's thread.
class DialogEvents {
 public:
  virtual ~DialogEvents() = default;
  virtual void on_button(ControlId id) = 0;
  // The user wants to close the window, by its title bar, Escape or kCloseButton. It stays open until
  // DialogFrame::close() is called.
  virtual void on_close() = 0;
  // A message that the program posted to itself: WM_APP or above.
  virtual void on_message(UINT message) = 0;
  // The user logs off. The system may end the process as soon as this returns.
  virtual void on_session_end() = 0;
};

// The window with its look and its pages. It passes what the user does to `events`, which decides
// what happens. Fonts, icon and layout follow the dots per inch of the monitor that the window is on.
// All calls are made on one thread.
class DialogFrame {
 public:
  DialogFrame(DialogEvents& events, std::filesystem::path logo);
  ~DialogFrame();
  DialogFrame(const DialogFrame&) = delete;
  DialogFrame& operator=(const DialogFrame&) = delete;

  // False when the system cannot create the window, for example because there is no display.
  bool create();
  HWND window() const { return window_; }
  DialogControls& controls() { return controls_; }
  Page page() const { return page_; }

  // Shows the page with these of its optional controls, and the window if it was hidden. `icon` names
  // one of the system's icons, which is used where there is no logo.
  void show(Page page, const std::string& title, const wchar_t* icon, ControlId focus,
            const std::vector<ControlId>& optional = {});
  // Places the controls again after the length of a text has changed.
  void lay_out();
  void hide();
  bool is_hidden() const { return hidden_; }
  void close();
  // Handles the window's messages until it is closed.
  void run();

  // Message boxes: one with an OK button, and one that asks yes or no.
  void tell(const std::string& text);
  bool confirm(const std::string& question);

 private:
  static INT_PTR CALLBACK procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  INT_PTR handle(UINT message, WPARAM wparam, LPARAM lparam);
  bool handle_size(UINT message, LPARAM lparam);
  INT_PTR paint_background(HDC context);
  void use_dpi(unsigned dpi);
  void use_icons();
  void take_focus();
  void fit_to_page();
  void place_on_screen();
  int ask_with_box(const std::string& text, UINT type);

  DialogEvents& events_;
  const std::filesystem::path logo_;
  HWND window_ = nullptr;
  DialogControls controls_;
  DialogFonts fonts_;
  ScopedIcon icon_;
  ScopedIcon small_icon_;
  ScopedIcon large_icon_;
  const wchar_t* system_icon_ = IDI_WARNING;
  unsigned dpi_ = USER_DEFAULT_SCREEN_DPI;
  Page page_ = Page::kAsk;
  ControlId focus_ = kDescription;
  bool focus_is_due_ = false;
  bool ready_ = false;  // the controls exist
  bool hidden_ = true;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_FRAME_WIN_H_
