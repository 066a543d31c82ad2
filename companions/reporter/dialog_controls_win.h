#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_CONTROLS_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_CONTROLS_WIN_H_

#include <windows.h>

#include <string>
#include <vector>

#include "reporter/dialog_layout.h"
#include "reporter/dialog_look_win.h"
#include "reporter/file_listing.h"

namespace wrenfall::reporter {

// The dialog manager turns Enter into IDOK and Escape into IDCANCEL.
enum ControlId : int {
  kSendButton = IDOK,
  kCloseButton = IDCANCEL,
  kIcon = 100,
  kHeading,
  kMessage,
  kFilesLabel,
  kFiles,
  kEmailLabel,
  kEmail,
  kDescriptionLabel,
  kDescription,
  kHint,
  kProgress,
  kSupportLabel,
  kSupport,
  kDetailsLabel,
  kDetails,
  kTryAgainButton,
  kDontSendButton,
  kOpenFolderButton,
  kAlwaysSend,
};

// The child windows of the dialog. They are created in their tab order. Each label comes right before
// its field, because screen readers take the field's name from there. Used by the dialog's thread
// alone; the system destroys the windows together with the dialog.
class DialogControls {
 public:
  // False when a control could not be made.
  bool create(HWND dialog);

  HWND get(ControlId id) const { return GetDlgItem(dialog_, id); }
  void set_text(ControlId id, const std::string& text) const;
  std::string text(ControlId id) const;
  void show(ControlId id, bool visible) const;
  bool is_shown(ControlId id) const;
  // Of a check box.
  bool is_checked(ControlId id) const;
  void place(ControlId id, const Box& box) const;
  void set_icon(HICON icon) const;

  void use_fonts(const DialogFonts& fonts) const;
  // The space that the control's text needs in its font.
  int text_height(ControlId id, int width) const;
  int text_width(ControlId id) const;
  int line_height() const;

  void set_columns(const std::string& file, const std::string& size) const;
  void set_files(const std::vector<ListedFile>& files) const;
  void fit_columns() const;

 private:
  SIZE measure(ControlId id, const std::string& shown, int width) const;

  HWND dialog_ = nullptr;
};

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_CONTROLS_WIN_H_
