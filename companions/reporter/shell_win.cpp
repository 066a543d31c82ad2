#include "reporter/shell_win.h"

// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include "support/text.h"

namespace wrenfall::reporter {
namespace {

// ShellExecute returns an error up to this value, and success above it.
constexpr INT_PTR kLargestShellError = 32;

bool open(HWND owner, const std::wstring& target) {
  const HINSTANCE result =
      ShellExecuteW(owner, L"open", target.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
  return reinterpret_cast<INT_PTR>(result) > kLargestShellError;
}

}  // namespace

bool open_folder(HWND owner, const std::filesystem::path& folder) {
  // Without the separator the system could start a program "<folder>.exe" that lies beside it.
  return open(owner, folder.native() + L"\\");
}

bool open_web_page(HWND owner, const std::string& address) {
  return open(owner, utf8_to_wide(address));
}

bool has_visible_desktop() {
  USEROBJECTFLAGS flags{};
  return GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags,
                                   nullptr) &&
         (flags.dwFlags & WSF_VISIBLE) != 0;
}

}  // namespace wrenfall::reporter
