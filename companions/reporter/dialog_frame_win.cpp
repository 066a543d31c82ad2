#include "reporter/dialog_frame_win.h"

// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include <algorithm>
#include <climits>
#include <utility>

#include "support/text.h"

namespace wrenfall::reporter {
namespace {

// The dialog template that the system takes, here without controls: a header, and then zeros for "no
// menu", "standard class" and "no title".
struct EmptyTemplate {
  DLGTEMPLATE header{
      WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, WS_EX_CONTROLPARENT | WS_EX_APPWINDOW, 0, 0, 0, 0, 0};
  WORD menu = 0;
  WORD window_class = 0;
  WORD title = 0;
};

}  // namespace

DialogFrame::DialogFrame(DialogEvents& events, std::filesystem::path logo)
    : events_(events), logo_(std::move(logo)) {}

DialogFrame::~DialogFrame() {
  if (window_ != nullptr) DestroyWindow(window_);
}

bool DialogFrame::create() {
  const INITCOMMONCONTROLSEX classes{
      sizeof classes, ICC_STANDARD_CLASSES | ICC_LISTVIEW_CLASSES | ICC_PROGRESS_CLASS};
  InitCommonControlsEx(&classes);
  const EmptyTemplate empty;
  window_ = CreateDialogIndirectParamW(GetModuleHandleW(nullptr), &empty.header, nullptr, procedure,
                                       reinterpret_cast<LPARAM>(this));
  if (window_ == nullptr || !controls_.create(window_)) return false;
  ready_ = true;
  disable_system_scaling(window_);
  use_dpi(dpi_of(window_));
  place_on_screen();
  return true;
}

void DialogFrame::fit_to_page() {
  if (IsZoomed(window_) || IsIconic(window_)) return;
  RECT outer{};
  RECT client{};
  GetWindowRect(window_, &outer);
  GetClientRect(window_, &client);
  SetWindowPos(window_, nullptr, 0, 0, outer.right - outer.left,
               outer.bottom - outer.top - client.bottom + scale_to_dpi(page_height(page_), dpi_),
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void DialogFrame::place_on_screen() {
  RECT area{0, 0, scale_to_dpi(kDialogWidth, dpi_), scale_to_dpi(page_height(page_), dpi_)};
  AdjustWindowRectEx(&area, WS_OVERLAPPEDWINDOW, FALSE, 0);
  MONITORINFO monitor{};
  monitor.cbSize = sizeof monitor;
  GetMonitorInfoW(MonitorFromWindow(window_, MONITOR_DEFAULTTONEAREST), &monitor);
  const RECT& work = monitor.rcWork;
  const LONG width = std::min(area.right - area.left, work.right - work.left);
  const LONG height = std::min(area.bottom - area.top, work.bottom - work.top);
  SetWindowPos(window_, nullptr, work.left + (work.right - work.left - width) / 2,
               work.top + (work.bottom - work.top - height) / 2, width, height,
               SWP_NOZORDER | SWP_NOACTIVATE);
}

void DialogFrame::use_dpi(unsigned dpi) {
  dpi_ = dpi;
  DialogFonts fonts = make_dialog_fonts(dpi);
  controls_.use_fonts(fonts);
  fonts_ = std::move(fonts);
  use_icons();
  lay_out();
}

void DialogFrame::use_icons() {
  ScopedIcon icon = load_dialog_icon(logo_, system_icon_, scale_to_dpi(kIconSize, dpi_));
  controls_.set_icon(icon.get());
  icon_ = std::move(icon);
  ScopedIcon small_one = load_dialog_icon(logo_, system_icon_, GetSystemMetrics(SM_CXSMICON));
  ScopedIcon large_one = load_dialog_icon(logo_, system_icon_, GetSystemMetrics(SM_CXICON));
  SendMessageW(window_, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(small_one.get()));
  SendMessageW(window_, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(large_one.get()));
  small_icon_ = std::move(small_one);
  large_icon_ = std::move(large_one);
}

void DialogFrame::lay_out() {
  if (!ready_) return;
  RECT area{};
  GetClientRect(window_, &area);
  lay_out_page(controls_, page_, area.right, area.bottom, dpi_);
  InvalidateRect(window_, nullptr, TRUE);
}

void DialogFrame::show(Page page, const std::string& title, const wchar_t* icon, ControlId focus,
                       const std::vector<ControlId>& optional) {
  const bool changed = page != std::exchange(page_, page);
  system_icon_ = icon;
  show_page(controls_, page);
  for (const ControlId id : optional) controls_.show(id, true);
  use_icons();
  if (changed) fit_to_page();
  lay_out();
  SetWindowTextW(window_, utf8_to_wide(title).c_str());
  SendMessageW(window_, DM_SETDEFID, page == Page::kAsk ? kSendButton : kCloseButton, 0);
  if (hidden_) {
    hidden_ = false;
    ShowWindow(window_, SW_SHOWNORMAL);
    // While the user works with another program, the system refuses this and makes the task bar blink.
    SetForegroundWindow(window_);
  }
  focus_ = focus;
  // In a window that is not active the focus does not stay. It is set again when the user's click
  // activates the window.
  focus_is_due_ = GetActiveWindow() != window_;
  take_focus();
}

void DialogFrame::take_focus() {
  SendMessageW(window_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(controls_.get(focus_)), TRUE);
  // The dialog manager selects the field's text, so the next key would replace it. Put the cursor
  // behind the text instead.
  if (focus_ == kDescription) SendMessageW(controls_.get(focus_), EM_SETSEL, INT_MAX, INT_MAX);
}

void DialogFrame::hide() {
  hidden_ = true;
  ShowWindow(window_, SW_HIDE);
}

void DialogFrame::close() {
  DestroyWindow(std::exchange(window_, nullptr));
  PostQuitMessage(0);
}

void DialogFrame::run() {
  MSG message{};
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (window_ != nullptr && IsDialogMessageW(window_, &message)) continue;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

int DialogFrame::ask_with_box(const std::string& text, UINT type) {
  wchar_t title[256] = {};
  GetWindowTextW(window_, title, static_cast<int>(std::size(title)));
  return MessageBoxW(window_, utf8_to_wide(text).c_str(), title, type);
}

void DialogFrame::tell(const std::string& text) { ask_with_box(text, MB_OK | MB_ICONERROR); }

bool DialogFrame::confirm(const std::string& question) {
  return ask_with_box(question, MB_YESNO | MB_ICONWARNING | MB_DEFBUTTON2) == IDYES;
}

INT_PTR CALLBACK DialogFrame::procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrW(window, DWLP_USER, lparam);
    return FALSE;
  }
  auto* const frame = reinterpret_cast<DialogFrame*>(GetWindowLongPtrW(window, DWLP_USER));
  return frame != nullptr && frame->ready_ && frame->window_ != nullptr
             ? frame->handle(message, wparam, lparam)
             : FALSE;
}

bool DialogFrame::handle_size(UINT message, LPARAM lparam) {
  if (message == WM_SIZE) {
    lay_out();
  } else if (message == WM_DPICHANGED) {
    const RECT& wanted = *reinterpret_cast<const RECT*>(lparam);
    SetWindowPos(window_, nullptr, wanted.left, wanted.top, wanted.right - wanted.left,
                 wanted.bottom - wanted.top, SWP_NOZORDER | SWP_NOACTIVATE);
    use_dpi(dpi_of(window_));
  } else if (message == WM_SETTINGCHANGE) {
    use_dpi(dpi_of(window_));
  } else {
    auto& limits = *reinterpret_cast<MINMAXINFO*>(lparam);
    limits.ptMinTrackSize = {scale_to_dpi(kSmallestWidth, dpi_),
                             scale_to_dpi(page_height(page_) * 3 / 4, dpi_)};
  }
  return true;
}

INT_PTR DialogFrame::paint_background(HDC context) {
  RECT area{};
  GetClientRect(window_, &area);
  RECT footer = area;
  footer.top = std::max(area.top, area.bottom - footer_height(dpi_));
  area.bottom = footer.top;
  FillRect(context, &area, GetSysColorBrush(COLOR_WINDOW));
  FillRect(context, &footer, GetSysColorBrush(COLOR_BTNFACE));
  SetWindowLongPtrW(window_, DWLP_MSGRESULT, TRUE);
  return TRUE;
}

INT_PTR DialogFrame::handle(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_SIZE:
    case WM_DPICHANGED:
    case WM_SETTINGCHANGE:
    case WM_GETMINMAXINFO:
      return handle_size(message, lparam);
    case WM_ERASEBKGND:
      return paint_background(reinterpret_cast<HDC>(wparam));
    case WM_CTLCOLORSTATIC:
      SetTextColor(reinterpret_cast<HDC>(wparam), GetSysColor(COLOR_WINDOWTEXT));
      SetBkColor(reinterpret_cast<HDC>(wparam), GetSysColor(COLOR_WINDOW));
      return reinterpret_cast<INT_PTR>(GetSysColorBrush(COLOR_WINDOW));
    case WM_COMMAND:
      if (LOWORD(wparam) == kCloseButton) {
        events_.on_close();
      } else if (HIWORD(wparam) == BN_CLICKED) {
        events_.on_button(static_cast<ControlId>(LOWORD(wparam)));
      }
      return TRUE;
    case WM_ACTIVATE:
      if (LOWORD(wparam) == WA_INACTIVE || !std::exchange(focus_is_due_, false)) return FALSE;
      take_focus();
      return TRUE;
    case WM_CLOSE:
      events_.on_close();
      return TRUE;
    case WM_ENDSESSION:
      if (wparam != FALSE) events_.on_session_end();
      return TRUE;
    default:
      if (message < WM_APP) return FALSE;
      events_.on_message(message);
      return TRUE;
  }
}

}  // namespace wrenfall::reporter
