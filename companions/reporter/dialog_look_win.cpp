#include "reporter/dialog_look_win.h"

// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include "support/system_function_win.h"
#include "support/system_path_win.h"

namespace wrenfall::reporter {
namespace {

// A pointer is null where the system does not have the function.
struct SystemFunctions {
  using GetDpi = UINT(WINAPI*)(HWND);
  using GetParameters = BOOL(WINAPI*)(UINT, UINT, void*, UINT, UINT);
  using SetBehavior = BOOL(WINAPI*)(HWND, UINT, UINT);
  using LoadScaledIcon = HRESULT(WINAPI*)(HINSTANCE, const wchar_t*, int, int, HICON*);

  GetDpi get_dpi = find_system_function<GetDpi>(L"user32.dll", "GetDpiForWindow");
  GetParameters get_parameters =
      find_system_function<GetParameters>(L"user32.dll", "SystemParametersInfoForDpi");
  SetBehavior set_behavior =
      find_system_function<SetBehavior>(L"user32.dll", "SetDialogDpiChangeBehavior");
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

void disable_system_scaling(HWND dialog) {
  if (functions().set_behavior != nullptr) {
    functions().set_behavior(dialog, kDisableAll, kDisableAll);
  }
}

ScopedIcon load_dialog_icon(const std::filesystem::path& logo, const wchar_t* system_icon,
                            int size) {
  HICON icon = nullptr;
  if (!logo.empty()) {
    icon = static_cast<HICON>(
        LoadImageW(nullptr, system_path(logo).c_str(), IMAGE_ICON, size, size, LR_LOADFROMFILE));
  }
  if (icon == nullptr && functions().load_scaled_icon != nullptr) {
    functions().load_scaled_icon(nullptr, system_icon, size, size, &icon);
  }
  return ScopedIcon(icon);
}

}  // namespace wrenfall::reporter
