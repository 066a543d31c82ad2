#include "reporter/dialog_view_win.h"

#include <algorithm>
#include <utility>

namespace wrenfall::reporter {
namespace {

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

// The whole window around that client area.
Extent window_size(const Extent& client, unsigned dpi) {
  const RECT frame = window_around(client, kDialogStyle, kDialogExtendedStyle, dpi);
  return {static_cast<int>(frame.right - frame.left), static_cast<int>(frame.bottom - frame.top)};
}

}  // namespace

DialogView::DialogView(IconFiles icons) : icon_files_(std::move(icons)) {}

bool DialogView::create(HWND window) {
  window_ = window;
  if (!controls_.create(window_, appearance_)) return false;
  disable_system_scaling(window_);
  read_settings();
  load_fonts(dpi_of(window_));
  return true;
}

RECT DialogView::client_area() const {
  RECT area{};
  GetClientRect(window_, &area);
  return area;
}

// The size of the window:

void DialogView::fit_window(const std::vector<DialogPage>& pages) {
  resize(fitting_window(pages, FontSizes(fonts_), largest_client(), dpi_), true);
}

Extent DialogView::largest_client() const {
  const RECT work = work_area(window_);
  const Extent frame = window_size({0, 0}, dpi_);
  return {static_cast<int>(work.right - work.left) - frame.width,
          static_cast<int>(work.bottom - work.top) - frame.height};
}

// Keeps the window on its monitor.
void DialogView::resize(const Extent& client, bool to_middle) {
  const Extent size = window_size(client, dpi_);
  const RECT work = work_area(window_);
  RECT outer{};
  GetWindowRect(window_, &outer);
  LONG left = std::max(std::min(outer.left, work.right - size.width), work.left);
  LONG top = std::max(std::min(outer.top, work.bottom - size.height), work.top);
  if (to_middle) {
    left = work.left + (work.right - work.left - size.width) / 2;
    top = work.top + (work.bottom - work.top - size.height) / 2;
  }
  SetWindowPos(window_, nullptr, left, top, size.width, size.height, SWP_NOZORDER | SWP_NOACTIVATE);
}

// Where the page has more text than those that the window was made for.
void DialogView::grow_to_page() {
  if (IsZoomed(window_) || IsIconic(window_)) return;
  const RECT area = client_area();
  const FontSizes sizes(fonts_);
  const Extent needed{std::max<int>(area.right, narrowest_window(page_, sizes, dpi_)),
                      place_page(page_, sizes, {area.right, 0}, dpi_).height};
  if (needed.width <= area.right && needed.height <= area.bottom) return;
  const Extent most = largest_client();
  resize({std::min(needed.width, most.width),
          std::min(std::max<int>(needed.height, area.bottom), most.height)},
         false);
}

POINT DialogView::least_size() const {
  const int width = narrowest_window(page_, FontSizes(fonts_), dpi_);
  const Extent least = window_size({width, placed_.height / 2}, dpi_);
  return {least.width, least.height};
}

// Fonts, icons and colours:

void DialogView::load_fonts(unsigned dpi) {
  dpi_ = dpi;
  DialogFonts fonts = make_dialog_fonts(dpi);
  controls_.use_fonts(fonts);
  fonts_ = std::move(fonts);
  load_icons();
}

void DialogView::load_icons() {
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

void DialogView::read_settings() {
  appearance_ = read_appearance();
  window_brush_ = make_brush(appearance_.palette.window);
  field_brush_ = make_brush(appearance_.palette.field);
  footer_brush_ = make_brush(appearance_.palette.footer);
  use_dark_frame(window_, appearance_.is_dark);
  controls_.use_appearance();
}

void DialogView::use_settings() {
  read_settings();
  load_fonts(dpi_);
  lay_out();
}

void DialogView::use_dpi(unsigned dpi, const RECT& wanted) {
  SetWindowPos(window_, nullptr, wanted.left, wanted.top, wanted.right - wanted.left,
               wanted.bottom - wanted.top, SWP_NOZORDER | SWP_NOACTIVATE);
  load_fonts(dpi);
  lay_out();
  grow_to_page();
}

// The page:

void DialogView::show(const DialogPage& page) {
  page_ = page;
  scrolled_ = 0;
  controls_.show(page_);
  load_icons();
  grow_to_page();
  lay_out();
}

void DialogView::refresh(const DialogPage& page) {
  page_ = page;
  controls_.show(page_);
  grow_to_page();
  lay_out();
}

void DialogView::lay_out() {
  const RECT area = client_area();
  placed_ = place_page(page_, FontSizes(fonts_), {area.right, area.bottom}, dpi_);
  SCROLLINFO bar{};
  bar.cbSize = sizeof bar;
  bar.fMask = SIF_PAGE | SIF_RANGE;
  bar.nMax = placed_.height > area.bottom ? placed_.height - 1 : 0;
  bar.nPage = static_cast<UINT>(area.bottom);
  SetScrollInfo(window_, SB_VERT, &bar, TRUE);
  scroll_to(scrolled_);
}

void DialogView::scroll_to(int offset) {
  const RECT area = client_area();
  scrolled_ = std::clamp(offset, 0, std::max<int>(placed_.height - area.bottom, 0));
  SetScrollPos(window_, SB_VERT, scrolled_, TRUE);
  controls_.place(placed_, scrolled_, dpi_);
  InvalidateRect(window_, nullptr, TRUE);
}

void DialogView::scroll(int request) {
  const RECT area = client_area();
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

void DialogView::follow_focus() {
  const HWND focus = GetFocus();
  if (focus == last_focus_) return;
  last_focus_ = focus;
  InvalidateRect(window_, nullptr, TRUE);
  const auto found = placed_.boxes.find(static_cast<ControlId>(GetDlgCtrlID(focus)));
  const RECT area = client_area();
  if (found == placed_.boxes.end() || placed_.height <= area.bottom) return;
  const Box& box = found->second;
  if (box.top < scrolled_) scroll_to(box.top);
  if (box.top + box.height > scrolled_ + area.bottom) scroll_to(box.top + box.height - area.bottom);
}

// Painting:

HBRUSH DialogView::color_control(HDC context, HWND control) const {
  const auto id = static_cast<ControlId>(GetDlgCtrlID(control));
  const ControlKind kind = kind_of(id);
  const Palette& palette = appearance_.palette;
  const bool is_field = kind == ControlKind::kField || kind == ControlKind::kLines;
  const bool is_button = kind == ControlKind::kButton;
  SetTextColor(context, system_color(id == kHint ? palette.quiet_text : palette.text));
  SetBkColor(context, system_color(is_field    ? palette.field
                                   : is_button ? palette.footer
                                               : palette.window));
  return is_field ? field_brush_.get() : is_button ? footer_brush_.get() : window_brush_.get();
}

void DialogView::paint_background(HDC context) const {
  RECT area = client_area();
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
}

}  // namespace wrenfall::reporter
