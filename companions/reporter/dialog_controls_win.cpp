#include "reporter/dialog_controls_win.h"

// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include <algorithm>
#include <utility>

#include "reporter/dialog_button_win.h"
#include "reporter/field_text.h"
#include "support/text.h"

namespace wrenfall::reporter {
namespace {

struct ControlClass {
  ControlId id;
  const wchar_t* window_class;
  DWORD style;
};

constexpr DWORD kPlainText = SS_LEFT | SS_NOPREFIX | SS_EDITCONTROL;
constexpr DWORD kLabelText = SS_LEFT | SS_EDITCONTROL;
constexpr DWORD kFieldStyle = WS_TABSTOP | ES_AUTOHSCROLL;
constexpr DWORD kLinesStyle = WS_TABSTOP | WS_VSCROLL | ES_MULTILINE | ES_AUTOVSCROLL;
constexpr DWORD kButtonStyle = WS_TABSTOP | BS_PUSHBUTTON | BS_MULTILINE;
constexpr DWORD kCheckBoxStyle = WS_TABSTOP | BS_AUTOCHECKBOX | BS_MULTILINE;
constexpr DWORD kListStyle =
    WS_TABSTOP | LVS_REPORT | LVS_SINGLESEL | LVS_SHOWSELALWAYS | LVS_NOCOLUMNHEADER;

constexpr ControlClass kClasses[] = {
    {kIcon, WC_STATICW, SS_ICON | SS_CENTERIMAGE},
    {kHeading, WC_STATICW, kPlainText},
    {kMessage, WC_STATICW, kPlainText},
    {kDescriptionLabel, WC_STATICW, kLabelText},
    {kDescription, WC_EDITW, kLinesStyle | ES_WANTRETURN},
    {kEmailLabel, WC_STATICW, kLabelText},
    {kEmail, WC_EDITW, kFieldStyle},
    {kShowFiles, WC_BUTTONW, kButtonStyle},
    {kRestart, WC_BUTTONW, kCheckBoxStyle},
    {kAlwaysSend, WC_BUTTONW, kCheckBoxStyle},
    {kPrivacy, WC_BUTTONW, kButtonStyle},
    {kHint, WC_STATICW, kPlainText},
    {kFilesLabel, WC_STATICW, kLabelText},
    {kFiles, WC_LISTVIEWW, kListStyle},
    {kProgress, PROGRESS_CLASSW, 0},
    {kProgressText, WC_STATICW, kPlainText},
    {kCopyNumber, WC_BUTTONW, kButtonStyle},
    {kSupportLabel, WC_STATICW, kLabelText},
    {kSupport, WC_EDITW, kFieldStyle | ES_READONLY},
    {kOpenPage, WC_BUTTONW, kButtonStyle},
    {kShowDetails, WC_BUTTONW, kButtonStyle},
    {kDetails, WC_EDITW, kLinesStyle | ES_READONLY},
    {kSendButton, WC_BUTTONW, kButtonStyle},
    {kDontSendButton, WC_BUTTONW, kButtonStyle},
    {kTryAgainButton, WC_BUTTONW, kButtonStyle},
    {kCloseButton, WC_BUTTONW, kButtonStyle},
    {kOpenFileButton, WC_BUTTONW, kButtonStyle},
    {kOpenFolderButton, WC_BUTTONW, kButtonStyle},
    {kBackButton, WC_BUTTONW, kButtonStyle},
};

constexpr int kNameColumn = 0;
constexpr int kSizeColumn = 1;
constexpr int kProgressSteps = 1000;
// Between a field and its frame, at 96 dots an inch. The field's height allows for both.
constexpr int kFieldInset = 5;

bool is_field(ControlKind kind) {
  return kind == ControlKind::kField || kind == ControlKind::kLines || kind == ControlKind::kList;
}

bool is_filled_by_user(ControlId id) { return id == kDescription || id == kEmail; }

void insert_column(HWND list, int index, int format) {
  LVCOLUMNW column{};
  column.mask = LVCF_FMT | LVCF_SUBITEM;
  column.fmt = format;
  column.iSubItem = index;
  SendMessageW(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(index),
               reinterpret_cast<LPARAM>(&column));
}

void set_cell(HWND list, int row, int column, std::wstring text) {
  LVITEMW item{};
  item.mask = LVIF_TEXT;
  item.iItem = row;
  item.iSubItem = column;
  item.pszText = text.data();
  SendMessageW(list, column == kNameColumn ? LVM_INSERTITEMW : LVM_SETITEMW, 0,
               reinterpret_cast<LPARAM>(&item));
}

// The state image with the check mark, or the one without.
void set_check(HWND list, int row, bool checked) {
  LVITEMW item{};
  item.stateMask = LVIS_STATEIMAGEMASK;
  item.state = INDEXTOSTATEIMAGEMASK(checked ? 2U : 1U);
  SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
}

int fit_to_contents(HWND list, int column) {
  const auto index = static_cast<WPARAM>(column);
  SendMessageW(list, LVM_SETCOLUMNWIDTH, index, LVSCW_AUTOSIZE);
  return static_cast<int>(SendMessageW(list, LVM_GETCOLUMNWIDTH, index, 0));
}

// The names get what the sizes leave. With longer names the list can be scrolled sideways.
void fit_columns(HWND list) {
  const int size = fit_to_contents(list, kSizeColumn);
  const int name = fit_to_contents(list, kNameColumn);
  RECT area{};
  GetClientRect(list, &area);
  SendMessageW(list, LVM_SETCOLUMNWIDTH, kNameColumn, std::max<int>(name, area.right - size));
}

}  // namespace

Box frame_of(ControlId id, const Box& box) { return is_field(kind_of(id)) ? box : Box(); }

bool DialogControls::create(HWND dialog, const Appearance& appearance) {
  dialog_ = dialog;
  appearance_ = &appearance;
  for (const ControlClass& made : kClasses) {
    const HWND control = CreateWindowExW(
        0, made.window_class, L"", WS_CHILD | made.style, 0, 0, 0, 0, dialog,
        reinterpret_cast<HMENU>(static_cast<INT_PTR>(made.id)), GetModuleHandleW(nullptr), nullptr);
    if (control == nullptr) return false;
    const ControlKind kind = kind_of(made.id);
    if (made.window_class == std::wstring(WC_BUTTONW)) {
      draw_button_ourselves(control, kind, appearance);
    }
    if (kind == ControlKind::kLink) screen_reader_.set_link(control);
  }
  for (const ControlId id : {kHeading, kMessage}) screen_reader_.set_announced(get(id));
  // A mirrored picture would be another picture, and addresses are read from left to right everywhere.
  for (const ControlId id : {kIcon, kEmail, kSupport}) {
    constexpr LONG_PTR kMirrored = WS_EX_LAYOUTRTL | WS_EX_RTLREADING | WS_EX_RIGHT;
    SetWindowLongPtrW(get(id), GWL_EXSTYLE, GetWindowLongPtrW(get(id), GWL_EXSTYLE) & ~kMirrored);
  }
  // These limits count characters, each of which has at least one byte. A text that has too many
  // bytes is cut when it is saved.
  SendMessageW(get(kEmail), EM_SETLIMITTEXT, kMaxEmailBytes, 0);
  SendMessageW(get(kDescription), EM_SETLIMITTEXT, kMaxDescriptionBytes, 0);
  constexpr LPARAM kListStyles = LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP | LVS_EX_CHECKBOXES;
  SendMessageW(get(kFiles), LVM_SETEXTENDEDLISTVIEWSTYLE, kListStyles, kListStyles);
  insert_column(get(kFiles), kNameColumn, LVCFMT_LEFT);
  insert_column(get(kFiles), kSizeColumn, LVCFMT_RIGHT);
  SendMessageW(get(kProgress), PBM_SETRANGE32, 0, kProgressSteps);
  use_appearance();
  return true;
}

void DialogControls::use_appearance() const {
  const Palette& palette = appearance_->palette;
  const HWND list = get(kFiles);
  const auto color = [](Rgb rgb) { return static_cast<LPARAM>(system_color(rgb)); };
  SendMessageW(list, LVM_SETBKCOLOR, 0, color(palette.field));
  SendMessageW(list, LVM_SETTEXTBKCOLOR, 0, color(palette.field));
  SendMessageW(list, LVM_SETTEXTCOLOR, 0, color(palette.text));
  // Where the system draws the bar in its own colours, these do nothing.
  SendMessageW(get(kProgress), PBM_SETBKCOLOR, 0, color(palette.footer));
  SendMessageW(get(kProgress), PBM_SETBARCOLOR, 0, color(palette.accent));
  for (const ControlId id : {kDescription, kFiles, kDetails}) {
    use_dark_scroll_bars(get(id), appearance_->is_dark);
  }
}

void DialogControls::show(const DialogPage& page) {
  for (const ControlClass& made : kClasses) {
    if (!page.has(made.id)) ShowWindow(get(made.id), SW_HIDE);
  }
  for (const PageItem& item : page.items) {
    const bool has_text = item.id != kIcon && item.id != kFiles && item.id != kProgress;
    if (has_text && !is_filled_by_user(item.id) && text(item.id) != item.text) {
      set_text(item.id, item.text);
    }
    if (!item.name.empty()) screen_reader_.set_name(get(item.id), utf8_to_wide(item.name));
    ShowWindow(get(item.id), SW_SHOWNA);
  }
}

void DialogControls::place(const PlacedPage& placed, int scrolled, unsigned dpi) const {
  const int inset = scale_to_dpi(kFieldInset, dpi);
  for (const auto& [id, box] : placed.boxes) {
    const int around = is_field(kind_of(id)) ? inset : 0;
    SetWindowPos(get(id), nullptr, box.left + around, box.top - scrolled + around,
                 std::max(box.width - 2 * around, 0), std::max(box.height - 2 * around, 0),
                 SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOCOPYBITS);
  }
  fit_columns(get(kFiles));
  for (const ControlId id : {kDescription, kDetails}) fit_scroll_bar(id);
}

void DialogControls::use_fonts(const DialogFonts& fonts) const {
  for (const ControlClass& made : kClasses) {
    SendMessageW(get(made.id), WM_SETFONT, reinterpret_cast<WPARAM>(fonts.of(kind_of(made.id))),
                 TRUE);
  }
}

void DialogControls::set_icon(HICON icon) const {
  SendMessageW(get(kIcon), STM_SETICON, reinterpret_cast<WPARAM>(icon), 0);
}

void DialogControls::fit_scroll_bar(ControlId id) const {
  const HWND control = get(id);
  RECT area{};
  GetClientRect(control, &area);
  const HDC context = GetDC(control);
  const HGDIOBJ previous =
      SelectObject(context, reinterpret_cast<HGDIOBJ>(SendMessageW(control, WM_GETFONT, 0, 0)));
  TEXTMETRICW metrics{};
  GetTextMetricsW(context, &metrics);
  SelectObject(context, previous);
  ReleaseDC(control, context);
  const auto lines = static_cast<LONG>(SendMessageW(control, EM_GETLINECOUNT, 0, 0));
  const bool is_needed = lines * metrics.tmHeight > area.bottom;
  const bool is_there = (GetWindowLongPtrW(control, GWL_STYLE) & WS_VSCROLL) != 0;
  if (is_needed != is_there) ShowScrollBar(control, SB_VERT, is_needed ? TRUE : FALSE);
}

void DialogControls::set_text(ControlId id, const std::string& text) const {
  SetWindowTextW(get(id), utf8_to_wide(to_field(text)).c_str());
}

std::string DialogControls::text(ControlId id) const {
  const HWND control = get(id);
  std::wstring wide(static_cast<size_t>(GetWindowTextLengthW(control)) + 1, L'\0');
  const int length = GetWindowTextW(control, wide.data(), static_cast<int>(wide.size()));
  wide.resize(static_cast<size_t>(std::max(length, 0)));
  return from_field(wide_to_utf8(wide));
}

bool DialogControls::is_checked(ControlId id) const {
  return SendMessageW(get(id), BM_GETCHECK, 0, 0) == BST_CHECKED;
}

void DialogControls::set_progress(int steps) const {
  SendMessageW(get(kProgress), PBM_SETPOS, static_cast<WPARAM>(steps), 0);
}

void DialogControls::name_columns(const std::string& name, const std::string& size) const {
  for (const auto& [index, text] : {std::pair(kNameColumn, &name), std::pair(kSizeColumn, &size)}) {
    std::wstring wide = utf8_to_wide(*text);
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT;
    column.pszText = wide.data();
    SendMessageW(get(kFiles), LVM_SETCOLUMNW, static_cast<WPARAM>(index),
                 reinterpret_cast<LPARAM>(&column));
  }
}

void DialogControls::set_files(const std::vector<FileRow>& rows) const {
  const HWND list = get(kFiles);
  SendMessageW(list, LVM_DELETEALLITEMS, 0, 0);
  int row = 0;
  for (const FileRow& file : rows) {
    set_cell(list, row, kNameColumn, utf8_to_wide(file.name));
    set_cell(list, row, kSizeColumn, utf8_to_wide(file.size));
    set_check(list, row++, file.is_checked);
  }
}

int DialogControls::chosen_file() const {
  return static_cast<int>(
      SendMessageW(get(kFiles), LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED));
}

}  // namespace wrenfall::reporter
