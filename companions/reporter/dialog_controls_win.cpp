#include "reporter/dialog_controls_win.h"

// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include <algorithm>

#include "common/size_text.h"
#include "reporter/field_text.h"
#include "support/text.h"

namespace wrenfall::reporter {
namespace {

struct ControlKind {
  ControlId id;
  const wchar_t* window_class;
  DWORD style;
  DWORD extended_style;
};

constexpr DWORD kPlainText = SS_LEFT | SS_NOPREFIX;
constexpr DWORD kField = WS_TABSTOP | ES_AUTOHSCROLL;
constexpr DWORD kLines = WS_TABSTOP | WS_VSCROLL | ES_MULTILINE | ES_AUTOVSCROLL;

constexpr ControlKind kKinds[] = {
    {kIcon, WC_STATICW, SS_ICON | SS_CENTERIMAGE, 0},
    {kHeading, WC_STATICW, kPlainText, 0},
    {kMessage, WC_STATICW, kPlainText, 0},
    {kFilesLabel, WC_STATICW, SS_LEFT, 0},
    {kFiles, WC_LISTVIEWW,
     WS_TABSTOP | LVS_REPORT | LVS_SINGLESEL | LVS_SHOWSELALWAYS | LVS_NOSORTHEADER,
     WS_EX_CLIENTEDGE},
    {kEmailLabel, WC_STATICW, SS_LEFT, 0},
    {kEmail, WC_EDITW, kField, WS_EX_CLIENTEDGE},
    {kDescriptionLabel, WC_STATICW, SS_LEFT, 0},
    {kDescription, WC_EDITW, kLines | ES_WANTRETURN, WS_EX_CLIENTEDGE},
    {kAlwaysSend, WC_BUTTONW, WS_TABSTOP | BS_AUTOCHECKBOX, 0},
    {kHint, WC_STATICW, kPlainText, 0},
    {kProgress, PROGRESS_CLASSW, PBS_MARQUEE, 0},
    {kSupportLabel, WC_STATICW, SS_LEFT, 0},
    {kSupport, WC_EDITW, kField | ES_READONLY, WS_EX_CLIENTEDGE},
    {kDetailsLabel, WC_STATICW, SS_LEFT, 0},
    {kDetails, WC_EDITW, kLines | ES_READONLY, WS_EX_CLIENTEDGE},
    {kSendButton, WC_BUTTONW, WS_TABSTOP | BS_DEFPUSHBUTTON, 0},
    {kTryAgainButton, WC_BUTTONW, WS_TABSTOP | BS_PUSHBUTTON, 0},
    {kDontSendButton, WC_BUTTONW, WS_TABSTOP | BS_PUSHBUTTON, 0},
    {kCloseButton, WC_BUTTONW, WS_TABSTOP | BS_PUSHBUTTON, 0},
    {kOpenFolderButton, WC_BUTTONW, WS_TABSTOP | BS_PUSHBUTTON, 0},
};

constexpr int kNameColumn = 0;
constexpr int kSizeColumnIndex = 1;
constexpr int kNamePercent = 75;

void insert_column(HWND list, int index, int format, std::wstring title) {
  LVCOLUMNW column{};
  column.mask = LVCF_TEXT | LVCF_FMT | LVCF_SUBITEM;
  column.fmt = format;
  column.iSubItem = index;
  column.pszText = title.data();
  SendMessageW(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(index),
               reinterpret_cast<LPARAM>(&column));
}

void insert_file(HWND list, int row, std::wstring name, std::wstring size) {
  LVITEMW item{};
  item.mask = LVIF_TEXT;
  item.iItem = row;
  item.pszText = name.data();
  SendMessageW(list, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
  item.iSubItem = kSizeColumnIndex;
  item.pszText = size.data();
  SendMessageW(list, LVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
}

}  // namespace

bool DialogControls::create(HWND dialog) {
  dialog_ = dialog;
  for (const ControlKind& kind : kKinds) {
    const HWND control = CreateWindowExW(
        kind.extended_style, kind.window_class, L"", WS_CHILD | kind.style, 0, 0, 0, 0, dialog,
        reinterpret_cast<HMENU>(static_cast<INT_PTR>(kind.id)), GetModuleHandleW(nullptr), nullptr);
    if (control == nullptr) return false;
  }
  // These limits count characters, each of which has at least one byte. A text that has too many
  // bytes is cut when it is saved.
  SendMessageW(get(kEmail), EM_SETLIMITTEXT, kMaxEmailBytes, 0);
  SendMessageW(get(kDescription), EM_SETLIMITTEXT, kMaxDescriptionBytes, 0);
  SendMessageW(get(kFiles), LVM_SETEXTENDEDLISTVIEWSTYLE, LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP,
               LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP);
  return true;
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

void DialogControls::show(ControlId id, bool visible) const {
  ShowWindow(get(id), visible ? SW_SHOWNA : SW_HIDE);
}

bool DialogControls::is_shown(ControlId id) const {
  // IsWindowVisible would say no while the dialog itself is hidden.
  return (GetWindowLongPtrW(get(id), GWL_STYLE) & WS_VISIBLE) != 0;
}

bool DialogControls::is_checked(ControlId id) const {
  return SendMessageW(get(id), BM_GETCHECK, 0, 0) == BST_CHECKED;
}

void DialogControls::place(ControlId id, const Box& box) const {
  SetWindowPos(get(id), nullptr, box.left, box.top, box.width, box.height,
               SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOCOPYBITS);
}

void DialogControls::set_icon(HICON icon) const {
  SendMessageW(get(kIcon), STM_SETICON, reinterpret_cast<WPARAM>(icon), 0);
}

void DialogControls::use_fonts(const DialogFonts& fonts) const {
  for (const ControlKind& kind : kKinds) {
    const HFONT font = kind.id == kHeading ? fonts.heading.get() : fonts.text.get();
    SendMessageW(get(kind.id), WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
  }
}

SIZE DialogControls::measure(ControlId id, const std::string& shown, int width) const {
  const HWND control = get(id);
  const HDC context = GetDC(control);
  const HGDIOBJ previous =
      SelectObject(context, reinterpret_cast<HGDIOBJ>(SendMessageW(control, WM_GETFONT, 0, 0)));
  RECT area{0, 0, width, 0};
  DrawTextW(context, utf8_to_wide(shown).c_str(), -1, &area,
            DT_CALCRECT | DT_NOPREFIX | (width > 0 ? DT_WORDBREAK : DT_SINGLELINE));
  SelectObject(context, previous);
  ReleaseDC(control, context);
  return {area.right, area.bottom};
}

int DialogControls::text_height(ControlId id, int width) const {
  return measure(id, text(id), width).cy;
}

int DialogControls::text_width(ControlId id) const { return measure(id, text(id), 0).cx; }

int DialogControls::line_height() const { return measure(kMessage, "X", 0).cy; }

void DialogControls::set_columns(const std::string& file, const std::string& size) const {
  insert_column(get(kFiles), kNameColumn, LVCFMT_LEFT, utf8_to_wide(file));
  insert_column(get(kFiles), kSizeColumnIndex, LVCFMT_RIGHT, utf8_to_wide(size));
}

void DialogControls::set_files(const std::vector<ListedFile>& files) const {
  const HWND list = get(kFiles);
  SendMessageW(list, LVM_DELETEALLITEMS, 0, 0);
  int row = 0;
  for (const ListedFile& file : files) {
    insert_file(list, row++, utf8_to_wide(file.name), utf8_to_wide(size_text(file.bytes)));
  }
}

void DialogControls::fit_columns() const {
  RECT area{};
  GetClientRect(get(kFiles), &area);
  const int name = MulDiv(area.right, kNamePercent, 100);
  SendMessageW(get(kFiles), LVM_SETCOLUMNWIDTH, kNameColumn, name);
  SendMessageW(get(kFiles), LVM_SETCOLUMNWIDTH, kSizeColumnIndex, area.right - name);
}

}  // namespace wrenfall::reporter
