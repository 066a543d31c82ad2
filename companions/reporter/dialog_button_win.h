#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_BUTTON_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_BUTTON_WIN_H_

#include <windows.h>

#include "reporter/dialog_look_win.h"

namespace wrenfall::reporter {

// Has a button of the system's class drawn by this program where the system does not draw what is
// needed: every link, and all buttons and check boxes while the appearance is dark. What the button
// does, also with the keyboard and for screen readers, stays the system's. `appearance` outlives the
// button.
void draw_button_ourselves(HWND button, ControlKind kind, const Appearance& appearance);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_BUTTON_WIN_H_
