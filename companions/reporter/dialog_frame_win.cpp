#include "reporter/dialog_frame_win.h"

// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include <algorithm>
#include <climits>
#include <iterator>
#include <utility>

#include "support/text.h"

namespace wrenfall::reporter {
namespace {

constexpr DWORD kStyle = WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN;
constexpr DWORD kExtendedStyle = WS_EX_CONTROLPARENT | WS_EX_APPWINDOW;

// The dialog template that the system takes, here without controls: a header, and then zeros for "no
// menu", "standard class" and "no title".
struct EmptyTemplate {
  DLGTEMPLATE header{kStyle, kExtendedStyle, 0, 0, 0, 0, 0};
  WORD menu = 0;
  WORD window_class = 0;
  WORD title = 0;
};

const wchar_t* system_icon(Sign sign) {
  switch (sign) {
    case Sign::kInformation:
      return IDI_INFORMATION;
    case Sign::kError:
      return IDI_ERROR;
    default:
      return IDI_WARNING;
  }
}

RECT work_area(HWND window) {
  MONITORINFO monitor{};
  monitor.cbSize = sizeof monitor;
  GetMonitorInfoW(MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST), &monitor);
  return monitor.rcWork;
}

}  // namespace

DialogFrame::DialogFrame(DialogEvents& events, IconFiles icons, bool right_to_left)
    : events_(events), icon_files_(std::move(icons)), right_to_left_(right_to_left) {}

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
  if (window_ == nullptr || !controls_.create(window_, appearance_)) return false;
  disable_system_scaling(window_);
  use_appearance();
  use_dpi(dpi_of(window_));
  ready_ = true;
  resize(fitting_window(pages, FontSizes(fonts_), largest_client(), dpi_), true);
  return true;
}

Extent DialogFrame::largest_client() const {
  const RECT work = work_area(window_);
  const RECT frame = window_around({0, 0}, kStyle, kExtendedStyle, dpi_);
  return {static_cast<int>(work.right - work.left - (frame.right - frame.left)),
          static_cast<int>(work.bottom - work.top - (frame.bottom - frame.top))};
}

// Keeps the window on its monitor.
void DialogFrame::resize(const Extent& client, bool to_middle) {
  const RECT frame = window_around(client, kStyle, kExtendedStyle, dpi_);
  const LONG width = frame.right - frame.left;
  const LONG height = frame.bottom - frame.top;
  const RECT work = work_area(window_);
  RECT outer{};
  GetWindowRect(window_, &outer);
  LONG left = std::max(std::min(outer.left, work.right - width), work.left);
  LONG top = std::max(std::min(outer.top, work.bottom - height), work.top);
  if (to_middle) {
    left = work.left + (work.right - work.left - width) / 2;
    top = work.top + (work.bottom - work.top - height) / 2;
  }
  SetWindowPos(window_, nullptr, left, top, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
}

// Where the page has more text than those that the window was made for.
void DialogFrame::grow_to(const DialogPage& page) {
  if (IsZoomed(window_) || IsIconic(window_)) return;
  RECT area{};
  GetClientRect(window_, &area);
  const FontSizes sizes(fonts_);
  const Extent needed{std::max<int>(area.right, narrowest_window(page, sizes, dpi_)),
                      place_page(page, sizes, {area.right, 0}, dpi_).height};
  if (needed.width <= area.right && needed.height <= area.bottom) return;
  const Extent most = largest_client();
  resize({std::min(needed.width, most.width),
          std::min(std::max<int>(needed.height, area.bottom), most.height)},
         false);
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
  const auto load = [this](int size) {
    return load_dialog_icon(icon_files_, system_icon(page_.sign), size);
  };
  ScopedIcon icon = load(scale_to_dpi(kIconSize, dpi_));
  controls_.set_icon(icon.get());
  icon_ = std::move(icon);
  ScopedIcon small_one = load(icon_edge(SM_CXSMICON, dpi_));
  ScopedIcon large_one = load(icon_edge(SM_CXICON, dpi_));
  SendMessageW(window_, WM_SETICON, ICON_SMALL, reinterpret_cast<LPARAM>(small_one.get()));
  SendMessageW(window_, WM_SETICON, ICON_BIG, reinterpret_cast<LPARAM>(large_one.get()));
  small_icon_ = std::move(small_one);
  large_icon_ = std::move(large_one);
}

void DialogFrame::use_appearance() {
  appearance_ = read_appearance();
  window_brush_ = make_brush(appearance_.palette.window);
  field_brush_ = make_brush(appearance_.palette.field);
  footer_brush_ = make_brush(appearance_.palette.footer);
  use_dark_frame(window_, appearance_.is_dark);
  controls_.use_appearance();
}

void DialogFrame::lay_out() {
  if (!ready_) return;
  RECT area{};
  GetClientRect(window_, &area);
  placed_ = place_page(page_, FontSizes(fonts_), {area.right, area.bottom}, dpi_);
  SCROLLINFO bar{};
  bar.cbSize = sizeof bar;
  bar.fMask = SIF_PAGE | SIF_RANGE;
  bar.nMax = placed_.height > area.bottom ? placed_.height - 1 : 0;
  bar.nPage = static_cast<UINT>(area.bottom);
  SetScrollInfo(window_, SB_VERT, &bar, TRUE);
  scroll_to(scrolled_);
}

void DialogFrame::scroll_to(int offset) {
  RECT area{};
  GetClientRect(window_, &area);
  scrolled_ = std::clamp(offset, 0, std::max<int>(placed_.height - area.bottom, 0));
  SetScrollPos(window_, SB_VERT, scrolled_, TRUE);
  controls_.place(placed_, scrolled_, dpi_);
  InvalidateRect(window_, nullptr, TRUE);
}

void DialogFrame::handle_scroll(int request) {
  RECT area{};
  GetClientRect(window_, &area);
  const int line = scale_to_dpi(kIconSize, dpi_);
  SCROLLINFO bar{};
  bar.cbSize = sizeof bar;
  bar.fMask = SIF_TRACKPOS;
  GetScrollInfo(window_, SB_VERT, &bar);
  switch (request) {
    case SB_LINEUP:
      return scroll_to(scrolled_ - line);
    case SB_LINEDOWN:
      return scroll_to(scrolled_ + line);
    case SB_PAGEUP:
      return scroll_to(scrolled_ - area.bottom);
    case SB_PAGEDOWN:
      return scroll_to(scrolled_ + area.bottom);
    case SB_THUMBTRACK:
    case SB_THUMBPOSITION:
      return scroll_to(bar.nTrackPos);
    default:
      return;
  }
}

void DialogFrame::show(const DialogPage& page) {
  const bool is_other = hidden_ || page.page != page_.page;
  page_ = page;
  scrolled_ = 0;
  controls_.show(page_);
  use_icons();
  grow_to(page_);
  lay_out();
  SetWindowTextW(window_, utf8_to_wide(page_.title).c_str());
  SendMessageW(window_, DM_SETDEFID, static_cast<WPARAM>(page_.default_button), 0);
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
  announce(controls_.get(kHeading));
  if (page_.has(kMessage)) announce(controls_.get(kMessage));
}

void DialogFrame::refresh(const DialogPage& page) {
  page_ = page;
  controls_.show(page_);
  grow_to(page_);
  lay_out();
}

void DialogFrame::take_focus() {
  SendMessageW(window_, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(controls_.get(page_.focus)), TRUE);
  // The dialog manager selects the field's text, so the next key would replace it. Put the cursor
  // behind the text instead.
  if (page_.focus == kDescription) {
    SendMessageW(controls_.get(page_.focus), EM_SETSEL, INT_MAX, INT_MAX);
  }
}

// The frame of the field with the focus has another colour. What is scrolled out of sight is shown.
void DialogFrame::follow_focus() {
  const HWND focus = GetFocus();
  if (focus == last_focus_) return;
  last_focus_ = focus;
  InvalidateRect(window_, nullptr, TRUE);
  const auto found = placed_.boxes.find(static_cast<ControlId>(GetDlgCtrlID(focus)));
  RECT area{};
  GetClientRect(window_, &area);
  if (found == placed_.boxes.end() || placed_.height <= area.bottom) return;
  const Box& box = found->second;
  if (box.top < scrolled_) scroll_to(box.top);
  if (box.top + box.height > scrolled_ + area.bottom) scroll_to(box.top + box.height - area.bottom);
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
    if (window_ != nullptr) follow_focus();
  }
}

int DialogFrame::ask_with_box(const std::string& text, UINT type) {
  wchar_t title[256] = {};
  GetWindowTextW(window_, title, static_cast<int>(std::size(title)));
  if (right_to_left_) type |= MB_RTLREADING | MB_RIGHT;
  return MessageBoxW(window_, utf8_to_wide(text).c_str(), title, type);
}

void DialogFrame::tell(const std::string& text, UINT icon) { ask_with_box(text, MB_OK | icon); }

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

bool DialogFrame::handle_size(UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_SIZE) {
    lay_out();
  } else if (message == WM_DPICHANGED) {
    const RECT& wanted = *reinterpret_cast<const RECT*>(lparam);
    SetWindowPos(window_, nullptr, wanted.left, wanted.top, wanted.right - wanted.left,
                 wanted.bottom - wanted.top, SWP_NOZORDER | SWP_NOACTIVATE);
    use_dpi(LOWORD(wparam));
    grow_to(page_);
  } else {
    const int width = narrowest_window(page_, FontSizes(fonts_), dpi_);
    const RECT least = window_around({width, placed_.height / 2}, kStyle, kExtendedStyle, dpi_);
    auto& limits = *reinterpret_cast<MINMAXINFO*>(lparam);
    limits.ptMinTrackSize = {least.right - least.left, least.bottom - least.top};
  }
  return true;
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
    controls_.fit_scroll_bar(kDescription);
  } else if (notification == BN_CLICKED) {
    events_.on_button(static_cast<ControlId>(id));
  }
}

INT_PTR DialogFrame::color_control(HDC context, HWND control) const {
  const auto id = static_cast<ControlId>(GetDlgCtrlID(control));
  const ControlKind kind = kind_of(id);
  const Palette& palette = appearance_.palette;
  const bool is_field = kind == ControlKind::kField || kind == ControlKind::kLines;
  const bool is_button = kind == ControlKind::kButton;
  SetTextColor(context, system_color(id == kHint ? palette.quiet_text : palette.text));
  SetBkColor(context, system_color(is_field    ? palette.field
                                   : is_button ? palette.footer
                                               : palette.window));
  return reinterpret_cast<INT_PTR>(is_field    ? field_brush_.get()
                                   : is_button ? footer_brush_.get()
                                               : window_brush_.get());
}

INT_PTR DialogFrame::paint_background(HDC context) {
  RECT area{};
  GetClientRect(window_, &area);
  RECT footer = area;
  footer.top = std::clamp<LONG>(placed_.footer_top - scrolled_, area.top, area.bottom);
  area.bottom = footer.top;
  FillRect(context, &area, window_brush_.get());
  FillRect(context, &footer, footer_brush_.get());
  const int focus = GetDlgCtrlID(GetFocus());
  for (const auto& [id, placed] : placed_.boxes) {
    const Box box = frame_of(id, placed);
    if (box.width == 0) continue;
    RECT field{box.left, box.top - scrolled_, box.left + box.width,
               box.top - scrolled_ + box.height};
    const ScopedBrush line =
        make_brush(id == focus ? appearance_.palette.accent : appearance_.palette.frame);
    FillRect(context, &field, line.get());
    const int thickness = scale_to_dpi(1, dpi_);
    InflateRect(&field, -thickness, -thickness);
    FillRect(context, &field, field_brush_.get());
  }
  SetWindowLongPtrW(window_, DWLP_MSGRESULT, TRUE);
  return TRUE;
}

INT_PTR DialogFrame::handle(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_SIZE:
    case WM_DPICHANGED:
    case WM_GETMINMAXINFO:
      return handle_size(message, wparam, lparam);
    case WM_SETTINGCHANGE:
    case WM_SYSCOLORCHANGE:
    case WM_THEMECHANGED:
      use_appearance();
      use_dpi(dpi_);
      return TRUE;
    case WM_VSCROLL:
      handle_scroll(LOWORD(wparam));
      return TRUE;
    case WM_MOUSEWHEEL:
      handle_scroll(GET_WHEEL_DELTA_WPARAM(wparam) > 0 ? SB_LINEUP : SB_LINEDOWN);
      return TRUE;
    case WM_ERASEBKGND:
      return paint_background(reinterpret_cast<HDC>(wparam));
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORBTN:
      return color_control(reinterpret_cast<HDC>(wparam), reinterpret_cast<HWND>(lparam));
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
