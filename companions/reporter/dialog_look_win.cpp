#include "reporter/dialog_look_win.h"

// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include "support/system_function_win.h"
#include "support/system_library_win.h"
#include "support/system_path_win.h"
#include "support/text.h"

namespace wrenfall::reporter {
namespace {

// A pointer is null where the system does not have the function.
struct SystemFunctions {
  using GetDpi = UINT(WINAPI*)(HWND);
  using GetParameters = BOOL(WINAPI*)(UINT, UINT, void*, UINT, UINT);
  using SetBehavior = BOOL(WINAPI*)(HWND, UINT, UINT);
  using GetMetric = int(WINAPI*)(int, UINT);
  using Adjust = BOOL(WINAPI*)(RECT*, DWORD, BOOL, DWORD, UINT);
  using LoadScaledIcon = HRESULT(WINAPI*)(HINSTANCE, const wchar_t*, int, int, HICON*);

  GetDpi get_dpi = find_system_function<GetDpi>(L"user32.dll", "GetDpiForWindow");
  GetParameters get_parameters =
      find_system_function<GetParameters>(L"user32.dll", "SystemParametersInfoForDpi");
  SetBehavior set_behavior =
      find_system_function<SetBehavior>(L"user32.dll", "SetDialogDpiChangeBehavior");
  GetMetric get_metric = find_system_function<GetMetric>(L"user32.dll", "GetSystemMetricsForDpi");
  Adjust adjust = find_system_function<Adjust>(L"user32.dll", "AdjustWindowRectExForDpi");
  LoadScaledIcon load_scaled_icon =
      find_system_function<LoadScaledIcon>(L"comctl32.dll", "LoadIconWithScaleDown");
};

const SystemFunctions& functions() {
  static const SystemFunctions found;
  return found;
}

constexpr UINT kDisableAll = 1;  // DDC_DISABLE_ALL
constexpr int kHeadingPercent = 140;

unsigned system_dpi() {
  const HDC screen = GetDC(nullptr);
  const int dpi = screen == nullptr ? 0 : GetDeviceCaps(screen, LOGPIXELSY);
  if (screen != nullptr) ReleaseDC(nullptr, screen);
  return dpi > 0 ? static_cast<unsigned>(dpi) : USER_DEFAULT_SCREEN_DPI;
}

LOGFONTW message_font(unsigned dpi) {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  if (functions().get_parameters != nullptr &&
      functions().get_parameters(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi)) {
    return metrics.lfMessageFont;
  }
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  metrics.lfMessageFont.lfHeight =
      MulDiv(metrics.lfMessageFont.lfHeight, static_cast<int>(dpi), static_cast<int>(system_dpi()));
  return metrics.lfMessageFont;
}

}  // namespace

unsigned dpi_of(HWND window) {
  const UINT dpi = functions().get_dpi == nullptr ? 0 : functions().get_dpi(window);
  return dpi != 0 ? dpi : system_dpi();
}

DialogFonts make_dialog_fonts(unsigned dpi) {
  LOGFONTW font = message_font(dpi);
  DialogFonts fonts;
  fonts.text.reset(CreateFontIndirectW(&font));
  font.lfHeight = MulDiv(font.lfHeight, kHeadingPercent, 100);
  fonts.heading.reset(CreateFontIndirectW(&font));
  return fonts;
}

RECT window_around(const Extent& client, DWORD style, DWORD extended_style, unsigned dpi) {
  RECT area{0, 0, client.width, client.height};
  if (functions().adjust == nullptr ||
      !functions().adjust(&area, style, FALSE, extended_style, dpi)) {
    AdjustWindowRectEx(&area, style, FALSE, extended_style);
  }
  return area;
}

int icon_edge(int metric, unsigned dpi) {
  return functions().get_metric == nullptr ? GetSystemMetrics(metric)
                                           : functions().get_metric(metric, dpi);
}

Extent FontSizes::extent(ControlKind kind, const std::string& text, int width) const {
  const HDC context = GetDC(nullptr);
  const HGDIOBJ previous = SelectObject(context, fonts_.of(kind));
  const bool has_access_keys = kind == ControlKind::kLabel || kind == ControlKind::kCheckBox ||
                               kind == ControlKind::kLink || kind == ControlKind::kButton;
  UINT format = DT_CALCRECT | (has_access_keys ? 0U : UINT{DT_NOPREFIX});
  format |= width > 0 ? DT_WORDBREAK : DT_SINGLELINE;
  RECT area{0, 0, width, 0};
  DrawTextW(context, utf8_to_wide(text).c_str(), -1, &area, format);
  SelectObject(context, previous);
  ReleaseDC(nullptr, context);
  return {area.right, area.bottom};
}

void disable_system_scaling(HWND dialog) {
  if (functions().set_behavior != nullptr) {
    functions().set_behavior(dialog, kDisableAll, kDisableAll);
  }
}

namespace {

bool is_dark_wanted() {
  DWORD light = 1;
  DWORD size = sizeof light;
  RegGetValueW(HKEY_CURRENT_USER,
               L"Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize",
               L"AppsUseLightTheme", RRF_RT_REG_DWORD, nullptr, &light, &size);
  return light == 0;
}

bool is_high_contrast_on() {
  HIGHCONTRASTW state{};
  state.cbSize = sizeof state;
  return SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof state, &state, 0) &&
         (state.dwFlags & HCF_HIGHCONTRASTON) != 0;
}

Rgb user_color(int name) {
  const COLORREF color = GetSysColor(name);
  return Rgb{GetRValue(color)} << 16 | Rgb{GetGValue(color)} << 8 | Rgb{GetBValue(color)};
}

Palette user_palette() {
  Palette palette{};
  palette.window = palette.footer = palette.field = user_color(COLOR_WINDOW);
  palette.text = palette.quiet_text = palette.frame = user_color(COLOR_WINDOWTEXT);
  palette.accent = user_color(COLOR_HIGHLIGHT);
  palette.accent_text = user_color(COLOR_HIGHLIGHTTEXT);
  palette.link = user_color(COLOR_HOTLIGHT);
  palette.button = palette.button_hot = user_color(COLOR_BTNFACE);
  return palette;
}

}  // namespace

Appearance read_appearance() {
  Appearance appearance;
  appearance.is_high_contrast = is_high_contrast_on();
  appearance.is_dark = !appearance.is_high_contrast && is_dark_wanted();
  if (appearance.is_high_contrast) {
    appearance.palette = user_palette();
  } else if (appearance.is_dark) {
    appearance.palette = kDarkPalette;
  }
  return appearance;
}

ScopedBrush make_brush(Rgb color) { return ScopedBrush(CreateSolidBrush(system_color(color))); }

void use_dark_frame(HWND window, bool dark) {
  constexpr DWORD kUseImmersiveDarkMode = 20;
  constexpr DWORD kTheSameBefore2020 = 19;
  using SetAttribute = HRESULT(WINAPI*)(HWND, DWORD, const void*, DWORD);
  SystemLibrary library(L"dwmapi.dll");
  const SetAttribute set = library.find("DwmSetWindowAttribute");
  if (set == nullptr) return;
  const BOOL value = dark ? TRUE : FALSE;
  if (FAILED(set(window, kUseImmersiveDarkMode, &value, sizeof value))) {
    set(window, kTheSameBefore2020, &value, sizeof value);
  }
}

void use_dark_scroll_bars(HWND control, bool dark) {
  using SetTheme = HRESULT(WINAPI*)(HWND, const wchar_t*, const wchar_t*);
  SystemLibrary library(L"uxtheme.dll");
  const SetTheme set = library.find("SetWindowTheme");
  if (set != nullptr) set(control, dark ? L"DarkMode_Explorer" : nullptr, nullptr);
}

ScopedIcon load_dialog_icon(const IconFiles& files, const wchar_t* system_icon, int size) {
  HICON icon = nullptr;
  if (!files.logo.empty()) {
    icon = static_cast<HICON>(LoadImageW(nullptr, system_path(files.logo).c_str(), IMAGE_ICON, size,
                                         size, LR_LOADFROMFILE));
  }
  if (icon == nullptr && !files.program.empty()) {
    UINT id = 0;
    if (PrivateExtractIconsW(system_path(files.program).c_str(), 0, size, size, &icon, &id, 1, 0) !=
        1) {
      icon = nullptr;
    }
  }
  if (icon == nullptr && functions().load_scaled_icon != nullptr) {
    functions().load_scaled_icon(nullptr, system_icon, size, size, &icon);
  }
  return ScopedIcon(icon);
}

}  // namespace wrenfall::reporter
