#include "reporter/dialog_frame_win.h"

// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include <climits>
#include <iterator>
#include <utility>

#include "support/text.h"

namespace wrenfall::reporter {
namespace {

// The dialog template that the system takes, here without controls: a header, and then zeros for "no
// menu", "standard class" and "no title".
struct EmptyTemplate {
  DLGTEMPLATE header{kDialogStyle, kDialogExtendedStyle, 0, 0, 0, 0, 0};
  WORD menu = 0;
  WORD window_class = 0;
  WORD title = 0;
};

}  // namespace

DialogFrame::DialogFrame(DialogEvents& events, IconFiles icons, bool right_to_left)
    : events_(events), right_to_left_(right_to_left), view_(std::move(icons)) {}

DialogFrame::~DialogFrame() {
  if (window_ != nullptr) DestroyWindow(window_);
}

bool DialogFrame::create(const std::vector<DialogPage>& pages) {
  const INITCOMMONCONTROLSEX classes{
      sizeof classes, ICC_STANDARD_CLASSES | ICC_LISTVIEW_CLASSES | ICC_PROGRESS_CLASS};
  InitCommonControlsEx(&classes);
  EmptyTemplate empty;
  if (right_to_left_) empty.header.dwExtendedStyle |= WS_EX_LAYOUTRTL;
  window_ = CreateDialogIndirectParamW(GetModuleHandleW(nullptr), &empty.header, nullptr, procedure,
                                       reinterpret_cast<LPARAM>(this));
  if (window_ == nullptr || !view_.create(window_)) return false;
  ready_ = true;
  view_.fit_window(pages);
  return true;
}

void DialogFrame::show(const DialogPage& page) {
  const bool is_other = hidden_ || page.page != this->page();
  view_.show(page);
  SetWindowTextW(window_, utf8_to_wide(page.title).c_str());
  SendMessageW(window_, DM_SETDEFID, static_cast<WPARAM>(page.default_button), 0);
  if (hidden_) {
    hidden_ = false;
    ShowWindow(window_, SW_SHOWNORMAL);
    // While the user works with another program, the system refuses this and makes the task bar blink.
    SetForegroundWindow(window_);
  }
  // In a window that is not active the focus does not stay. It is set again when the user's click
  // activates the window.
  focus_is_due_ = GetActiveWindow() != window_;
  take_focus();
  if (!is_other) return;
  announce(controls().get(kHeading));
  if (page.has(kMessage)) announce(controls().get(kMessage));
}

void DialogFrame::take_focus() {
  const ControlId focus = view_.page().focus;
  const HWND control = controls().get(focus);
  SendMessageW(window_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(control), TRUE);
  // The dialog manager selects the field's text, so the next key would replace it. Put the cursor
  // behind the text instead.
  if (focus == kDescription) SendMessageW(control, EM_SETSEL, INT_MAX, INT_MAX);
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
    if (window_ == nullptr || !IsDialogMessageW(window_, &message)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    if (window_ != nullptr) view_.follow_focus();
  }
}

int DialogFrame::ask_with_box(const std::string& text, UINT type) const {
  wchar_t title[256] = {};
  GetWindowTextW(window_, title, static_cast<int>(std::size(title)));
  if (right_to_left_) type |= MB_RTLREADING | MB_RIGHT;
  return MessageBoxW(window_, utf8_to_wide(text).c_str(), title, type);
}

void DialogFrame::tell(const std::string& text, UINT icon) const {
  ask_with_box(text, MB_OK | icon);
}

bool DialogFrame::confirm(const std::string& question) const {
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

INT_PTR DialogFrame::handle_list(const NMHDR& header) {
  if (header.idFrom != kFiles) return FALSE;
  const auto& change = *reinterpret_cast<const NMLISTVIEW*>(&header);
  const auto row = static_cast<size_t>(change.iItem);
  const bool is_switch = (change.uChanged & LVIF_STATE) != 0 &&
                         ((change.uNewState ^ change.uOldState) & LVIS_STATEIMAGEMASK) != 0;
  if (header.code == LVN_ITEMACTIVATE && change.iItem >= 0) events_.on_file_opened(row);
  if (header.code == LVN_ITEMCHANGED && is_switch && change.uOldState != 0) {
    events_.on_file_switched(row,
                             (change.uNewState & LVIS_STATEIMAGEMASK) == INDEXTOSTATEIMAGEMASK(2));
  }
  if (header.code != LVN_ITEMCHANGING || !is_switch) return FALSE;
  const bool is_off = (change.uNewState & LVIS_STATEIMAGEMASK) == INDEXTOSTATEIMAGEMASK(1);
  const bool was_on = (change.uOldState & LVIS_STATEIMAGEMASK) == INDEXTOSTATEIMAGEMASK(2);
  // TRUE refuses the change.
  const bool refuses = is_off && was_on && !events_.is_optional(row);
  SetWindowLongPtrW(window_, DWLP_MSGRESULT, refuses ? TRUE : FALSE);
  return TRUE;
}

void DialogFrame::handle_command(int id, int notification) {
  if (id == kCloseButton) {
    events_.on_escape();
  } else if (notification == EN_CHANGE && id == kDescription) {
    controls().fit_scroll_bar(kDescription);
  } else if (notification == BN_CLICKED) {
    events_.on_button(static_cast<ControlId>(id));
  }
}

INT_PTR DialogFrame::handle(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_SIZE:
      view_.lay_out();
      return TRUE;
    case WM_DPICHANGED:
      view_.use_dpi(LOWORD(wparam), *reinterpret_cast<const RECT*>(lparam));
      return TRUE;
    case WM_GETMINMAXINFO:
      reinterpret_cast<MINMAXINFO*>(lparam)->ptMinTrackSize = view_.least_size();
      return TRUE;
    case WM_SETTINGCHANGE:
    case WM_SYSCOLORCHANGE:
    case WM_THEMECHANGED:
      view_.use_settings();
      return TRUE;
    case WM_VSCROLL:
      view_.scroll(LOWORD(wparam));
      return TRUE;
    case WM_MOUSEWHEEL:
      view_.scroll(GET_WHEEL_DELTA_WPARAM(wparam) > 0 ? SB_LINEUP : SB_LINEDOWN);
      return TRUE;
    case WM_ERASEBKGND:
      view_.paint_background(reinterpret_cast<HDC>(wparam));
      SetWindowLongPtrW(window_, DWLP_MSGRESULT, TRUE);
      return TRUE;
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORBTN:
      return reinterpret_cast<INT_PTR>(
          view_.color_control(reinterpret_cast<HDC>(wparam), reinterpret_cast<HWND>(lparam)));
    case WM_NOTIFY:
      return handle_list(*reinterpret_cast<const NMHDR*>(lparam));
    case WM_COMMAND:
      handle_command(LOWORD(wparam), HIWORD(wparam));
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
