#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_FRAME_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_FRAME_WIN_H_

#include <windows.h>

#include <string>
#include <vector>

#include "reporter/dialog_controls_win.h"
#include "reporter/dialog_look_win.h"
#include "reporter/dialog_page.h"
#include "reporter/dialog_view_win.h"

namespace wrenfall::reporter {

// The events that the dialog's owner handles. Called on the window's thread.
class DialogEvents {
 public:
  virtual ~DialogEvents() = default;
  virtual void on_button(ControlId id) = 0;
  // Escape, or the button that closes or cancels. The window stays open until DialogFrame::close() is
  // called, here and in the next one.
  virtual void on_escape() = 0;
  // The user wants to close the window, by its title bar for example.
  virtual void on_close() = 0;
  // The user switched a file on or off, or wants to see what is in it. The number of its row.
  virtual void on_file_switched(size_t row, bool checked) = 0;
  virtual void on_file_opened(size_t row) = 0;
  // Whether the user may switch the file off.
  virtual bool is_optional(size_t row) = 0;
  // A message that the program posted to itself: WM_APP or above.
  virtual void on_message(UINT message) = 0;
  // The user logs off. The system may end the process as soon as this returns.
  virtual void on_session_end() = 0;
};

// The window that shows one page after the other, each with its DialogView. It passes what the user
// does to `events`, which decides what happens. It keeps its size when the page changes, unless a page
// needs more. All calls are made on one thread.
class DialogFrame {
 public:
  DialogFrame(DialogEvents& events, IconFiles icons, bool right_to_left);
  ~DialogFrame();
  DialogFrame(const DialogFrame&) = delete;
  DialogFrame& operator=(const DialogFrame&) = delete;

  // Makes the window as large as the largest of these pages. False when the system cannot create it,
  // for example because there is no display.
  bool create(const std::vector<DialogPage>& pages);
  HWND window() const { return window_; }
  DialogControls& controls() { return view_.controls(); }
  Page page() const { return view_.page().page; }

  // Shows the page, and the window if it was hidden.
  void show(const DialogPage& page);
  // Shows the page that is shown with other texts.
  void refresh(const DialogPage& page) { view_.refresh(page); }
  void hide();
  bool is_hidden() const { return hidden_; }
  void close();
  // Handles the window's messages until it is closed.
  void run();

  // Message boxes: one with an OK button, and one that asks yes or no.
  void tell(const std::string& text, UINT icon = MB_ICONERROR) const;
  bool confirm(const std::string& question) const;

 private:
  static INT_PTR CALLBACK procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  INT_PTR handle(UINT message, WPARAM wparam, LPARAM lparam);
  INT_PTR handle_list(const NMHDR& header);
  void handle_command(int id, int notification);
  void take_focus();
  int ask_with_box(const std::string& text, UINT type) const;

  DialogEvents& events_;
  const bool right_to_left_;
  HWND window_ = nullptr;
  DialogView view_;
  bool focus_is_due_ = false;
  bool ready_ = false;  // the controls exist
  bool hidden_ = true;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_FRAME_WIN_H_
