#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_CONTROLS_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_CONTROLS_WIN_H_

#include <windows.h>

#include <cstddef>
#include <string>
#include <vector>

#include "reporter/dialog_layout.h"
#include "reporter/dialog_look_win.h"
#include "reporter/dialog_page.h"
#include "reporter/screen_reader_win.h"

namespace wrenfall::reporter {

// The child windows of the dialog. They are created in their tab order. Each label comes right before
// its field, because screen readers take the field's name from there. Used by the dialog's thread
// alone; the system destroys the windows together with the dialog.
class DialogControls {
 public:
  // False when a control could not be made. `appearance` outlives the controls.
  bool create(HWND dialog, const Appearance& appearance);

  HWND get(ControlId id) const { return GetDlgItem(dialog_, id); }
  // Shows the controls of the page with their texts, and hides the others.
  void show(const DialogPage& page);
  // Where they are, shifted up by `scrolled` pixels.
  void place(const PlacedPage& placed, int scrolled, unsigned dpi) const;
  void use_fonts(const DialogFonts& fonts) const;
  // After the appearance has changed.
  void use_appearance() const;
  void set_icon(HICON icon) const;

  // Gives a field of many lines a scroll bar while it needs one.
  void fit_scroll_bar(ControlId id) const;

  void set_text(ControlId id, const std::string& text) const;
  std::string text(ControlId id) const;
  // Also while another page is shown. A check box that was never shown is not checked.
  bool is_checked(ControlId id) const;
  // A thousandth each.
  void set_progress(int steps) const;

  // The names of the list's columns, which screen readers say.
  void name_columns(const std::string& name, const std::string& size) const;
  // The rows of the list, in this order.
  struct FileRow {
    std::string name;
    std::string size;
    bool is_checked = true;
  };
  void set_files(const std::vector<FileRow>& rows) const;
  // The chosen row; -1 when there is none.
  int chosen_file() const;

 private:
  HWND dialog_ = nullptr;
  const Appearance* appearance_ = nullptr;
  ScreenReader screen_reader_;
};

// The frame that the dialog draws around a field; empty for other controls.
Box frame_of(ControlId id, const Box& box);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_CONTROLS_WIN_H_
