#ifndef WRENFALL_COMPANIONS_REPORTER_DIALOG_PAGES_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_DIALOG_PAGES_WIN_H_

#include "reporter/dialog_controls_win.h"
#include "reporter/dialog_layout.h"

namespace wrenfall::reporter {

// The dialog's pages, in this order. Another attempt goes from kResult back to kSending.
enum class Page { kAsk, kSending, kResult };

// Shows the controls of the page and hides the others. The optional controls are hidden: of the first
// page the check box, of the last one the support page's address, the details and "Try again". The
// caller shows those it needs.
void show_page(const DialogControls& controls, Page page);

// Places the visible controls of the page in a client area of that size in pixels.
void lay_out_page(const DialogControls& controls, Page page, int width, int height, unsigned dpi);

// The edge of the icon at 96 dots an inch.
inline constexpr int kIconSize = 32;
// The height of the strip with the buttons at the bottom.
int footer_height(unsigned dpi);

// The size of the client area at 96 dots an inch.
inline constexpr int kDialogWidth = 520;
inline constexpr int kSmallestWidth = 400;
int page_height(Page page);

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_DIALOG_PAGES_WIN_H_
