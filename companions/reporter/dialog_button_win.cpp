#include "reporter/dialog_button_win.h"

// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include <algorithm>
#include <string>

namespace wrenfall::reporter {
namespace {

// Lengths at 96 dots an inch.
constexpr int kCheckBoxEdge = 15;
constexpr int kTextBesideCheckBox = 22;
constexpr int kCorner = 6;

// The kind travels in the number that the system keeps for each subclass.
ControlKind kind_from(UINT_PTR id) { return static_cast<ControlKind>(id); }

std::wstring text_of(HWND button) {
  std::wstring text(static_cast<size_t>(GetWindowTextLengthW(button)) + 1, L'\0');
  const int length = GetWindowTextW(button, text.data(), static_cast<int>(text.size()));
  text.resize(static_cast<size_t>(std::max(length, 0)));
  return text;
}

class ButtonPainter {
 public:
  ButtonPainter(HWND button, HDC context, const Appearance& appearance)
      : button_(button),
        context_(context),
        palette_(appearance.palette),
        dpi_(dpi_of(button)),
        state_(SendMessageW(button, BM_GETSTATE, 0, 0)),
        hints_(SendMessageW(button, WM_QUERYUISTATE, 0, 0)) {
    GetClientRect(button, &area_);
    SetBkMode(context, TRANSPARENT);
    font_ =
        SelectObject(context, reinterpret_cast<HGDIOBJ>(SendMessageW(button, WM_GETFONT, 0, 0)));
  }
  ~ButtonPainter() { SelectObject(context_, font_); }
  ButtonPainter(const ButtonPainter&) = delete;
  ButtonPainter& operator=(const ButtonPainter&) = delete;

  void paint(ControlKind kind) {
    fill(area_, kind == ControlKind::kButton ? palette_.footer : palette_.window);
    if (kind == ControlKind::kButton) {
      paint_button();
    } else if (kind == ControlKind::kCheckBox) {
      paint_check_box();
    } else {
      draw_text(area_, palette_.link, DT_LEFT);
      if (shows_focus()) frame(area_, palette_.accent);
    }
  }

 private:
  bool has(LRESULT state) const { return (state_ & state) != 0; }
  bool shows_focus() const { return has(BST_FOCUS) && (hints_ & UISF_HIDEFOCUS) == 0; }

  void fill(const RECT& area, Rgb color) const {
    FillRect(context_, &area, make_brush(color).get());
  }
  void frame(const RECT& area, Rgb color) const {
    FrameRect(context_, &area, make_brush(color).get());
  }

  void draw_text(RECT area, Rgb color, UINT side) const {
    const std::wstring text = text_of(button_);
    UINT format = DT_WORDBREAK | side;
    if ((hints_ & UISF_HIDEACCEL) != 0) format |= DT_HIDEPREFIX;
    if ((GetWindowLongPtrW(button_, GWL_EXSTYLE) & WS_EX_LAYOUTRTL) != 0) format |= DT_RTLREADING;
    RECT needed = area;
    DrawTextW(context_, text.c_str(), -1, &needed, format | DT_CALCRECT);
    area.top += std::max<LONG>(area.bottom - area.top - (needed.bottom - needed.top), 0) / 2;
    SetTextColor(context_, system_color(IsWindowEnabled(button_) ? color : palette_.frame));
    DrawTextW(context_, text.c_str(), -1, &area, format);
  }

  bool is_default() const {
    return (GetWindowLongPtrW(button_, GWL_STYLE) & BS_TYPEMASK) == BS_DEFPUSHBUTTON;
  }

  void paint_button() const {
    Rgb color = is_default() ? palette_.accent : palette_.button;
    if (!is_default() && (has(BST_HOT) || has(BST_PUSHED))) color = palette_.button_hot;
    const ScopedBrush brush = make_brush(color);
    const HPEN pen =
        CreatePen(PS_SOLID, 1, system_color(has(BST_FOCUS) ? palette_.text : palette_.frame));
    const HGDIOBJ old_brush = SelectObject(context_, brush.get());
    const HGDIOBJ old_pen = SelectObject(context_, pen);
    const int corner = scale_to_dpi(kCorner, dpi_);
    RoundRect(context_, area_.left, area_.top, area_.right, area_.bottom, corner, corner);
    SelectObject(context_, old_pen);
    SelectObject(context_, old_brush);
    DeleteObject(pen);
    draw_text(area_, is_default() ? palette_.accent_text : palette_.text, DT_CENTER);
  }

  void paint_check_box() const {
    const int edge = scale_to_dpi(kCheckBoxEdge, dpi_);
    RECT box = area_;
    box.top += (area_.bottom - area_.top - edge) / 2;
    box.right = box.left + edge;
    box.bottom = box.top + edge;
    const bool checked = has(BST_CHECKED);
    fill(box, checked ? palette_.accent : palette_.field);
    frame(box, checked ? palette_.accent : palette_.frame);
    if (checked) draw_tick(box);
    RECT text = area_;
    text.left += scale_to_dpi(kTextBesideCheckBox, dpi_);
    draw_text(text, palette_.text, DT_LEFT);
    if (shows_focus()) frame(text, palette_.accent);
  }

  void draw_tick(const RECT& box) const {
    const int edge = box.right - box.left;
    const POINT points[] = {{box.left + edge / 5, box.top + edge / 2},
                            {box.left + edge * 2 / 5, box.top + edge * 7 / 10},
                            {box.left + edge * 4 / 5, box.top + edge * 3 / 10}};
    const HPEN pen = CreatePen(PS_SOLID, std::max(edge / 8, 1), system_color(palette_.accent_text));
    const HGDIOBJ old_pen = SelectObject(context_, pen);
    Polyline(context_, points, 3);
    SelectObject(context_, old_pen);
    DeleteObject(pen);
  }

  const HWND button_;
  const HDC context_;
  const Palette& palette_;
  const unsigned dpi_;
  const LRESULT state_;
  const LRESULT hints_;
  RECT area_{};
  HGDIOBJ font_ = nullptr;
};

// Whether the system draws the button again in this message.
bool changes_look(UINT message) {
  switch (message) {
    case BM_SETSTATE:
    case BM_SETCHECK:
    case BM_SETSTYLE:
    case WM_ENABLE:
    case WM_SETFOCUS:
    case WM_KILLFOCUS:
    case WM_SETTEXT:
    case WM_UPDATEUISTATE:
    case WM_MOUSEMOVE:
    case WM_MOUSELEAVE:
    case WM_LBUTTONDOWN:
    case WM_LBUTTONUP:
      return true;
    default:
      return false;
  }
}

LRESULT CALLBACK button_procedure(HWND button, UINT message, WPARAM wparam, LPARAM lparam,
                                  UINT_PTR id, DWORD_PTR data) {
  const auto& appearance = *reinterpret_cast<const Appearance*>(data);
  const ControlKind kind = kind_from(id);
  if (kind != ControlKind::kLink && !appearance.is_dark) {
    return DefSubclassProc(button, message, wparam, lparam);
  }
  switch (message) {
    case WM_PAINT: {
      PAINTSTRUCT paint{};
      const HDC context = BeginPaint(button, &paint);
      ButtonPainter(button, context, appearance).paint(kind);
      EndPaint(button, &paint);
      return 0;
    }
    case WM_PRINTCLIENT:
      ButtonPainter(button, reinterpret_cast<HDC>(wparam), appearance).paint(kind);
      return 0;
    case WM_ERASEBKGND:
      return 1;
    case WM_SETCURSOR:
      if (kind != ControlKind::kLink) break;
      SetCursor(LoadCursorW(nullptr, IDC_HAND));
      return TRUE;
    default:
      break;
  }
  const LRESULT result = DefSubclassProc(button, message, wparam, lparam);
  if (changes_look(message)) InvalidateRect(button, nullptr, FALSE);
  return result;
}

}  // namespace

void draw_button_ourselves(HWND button, ControlKind kind, const Appearance& appearance) {
  SetWindowSubclass(button, button_procedure, static_cast<UINT_PTR>(kind),
                    reinterpret_cast<DWORD_PTR>(&appearance));
}

}  // namespace wrenfall::reporter
