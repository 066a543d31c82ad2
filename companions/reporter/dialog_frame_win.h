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

class DialogEvents {
 public:
  virtual ~DialogEvents() = default;
  virtual void on_button(ControlId id) = 0;
  virtual void on_close() = 0;  // the window's button, Escape, or kCloseButton; it stays for now
  virtual void on_message(UINT message) = 0;  // from WM_APP on
  virtual void on_session_end() = 0;          // the process ends when this returns
};

// The window: its look, its pages, its messages; what they mean is the events' affair. The fonts,
// the icon and the layout follow the monitor's dots per inch. All of it on one thread.
class DialogFrame {
 public:
  DialogFrame(DialogEvents& events, std::filesystem::path logo);
  ~DialogFrame();
  DialogFrame(const DialogFrame&) = delete;
  DialogFrame& operator=(const DialogFrame&) = delete;

  // False when there is no display, for example.
  bool create();
  HWND window() const { return window_; }
  DialogControls& controls() { return controls_; }
  Page page() const { return page_; }

  // Shows the page with what is optional on it, also when the window was hidden. The icon is one of
  // the system's, for where there is no logo.
  void show(Page page, const std::string& title, const wchar_t* icon, ControlId focus,
            const std::vector<ControlId>& optional = {});
  void hide();
  bool is_hidden() const { return hidden_; }
  void close();
  // Serves the window until it is closed.
  void run();

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
  void lay_out();
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
  bool ready_ = false;  // has its controls
  bool hidden_ = true;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_FRAME_WIN_H_
