#include "reporter/shell_win.h"

// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <cstring>

#include "support/system_path_win.h"
#include "support/text.h"

namespace wrenfall::reporter {
namespace {

// ShellExecute returns an error up to this value, and success above it.
constexpr INT_PTR kLargestShellError = 32;

constexpr int kClipboardAttempts = 10;
constexpr DWORD kClipboardPauseMs = 50;

bool open_clipboard(HWND owner) {
  for (int attempt = 1; !OpenClipboard(owner); ++attempt) {
    if (attempt == kClipboardAttempts) return false;
    Sleep(kClipboardPauseMs);
  }
  return true;
}

bool open(HWND owner, const std::wstring& target) {
  const HINSTANCE result =
      ShellExecuteW(owner, L"open", target.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
  return reinterpret_cast<INT_PTR>(result) > kLargestShellError;
}

bool start_in(const std::filesystem::path& folder, const ApplicationStart& application) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  std::wstring command_line = utf8_to_wide(application.command_line);
  if (!CreateProcessW(system_path(application.program).c_str(), command_line.data(), nullptr,
                      nullptr, FALSE, CREATE_DEFAULT_ERROR_MODE, nullptr,
                      system_path(folder).c_str(), &startup, &process)) {
    return false;
  }
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return true;
}

}  // namespace

bool open_folder(HWND owner, const std::filesystem::path& folder) {
  // Without the separator the system could start a program "<folder>.exe" that lies beside it.
  return open(owner, folder.native() + L"\\");
}

bool open_file(HWND owner, const std::filesystem::path& file) { return open(owner, file.native()); }

bool copy_text(HWND owner, const std::string& text) {
  const std::wstring wide = utf8_to_wide(text);
  const size_t bytes = (wide.size() + 1) * sizeof(wchar_t);
  const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, bytes);
  void* const copy = memory == nullptr ? nullptr : GlobalLock(memory);
  if (copy == nullptr) {
    GlobalFree(memory);
    return false;
  }
  std::memcpy(copy, wide.c_str(), bytes);
  GlobalUnlock(memory);
  // The clipboard owns the memory once it has taken it.
  bool taken = false;
  if (open_clipboard(owner)) {
    EmptyClipboard();
    taken = SetClipboardData(CF_UNICODETEXT, memory) != nullptr;
    CloseClipboard();
  }
  if (!taken) GlobalFree(memory);
  return taken;
}

bool open_web_page(HWND owner, const std::string& address) {
  return open(owner, utf8_to_wide(address));
}

bool start_application(const ApplicationStart& application) {
  return (!application.folder.empty() && start_in(application.folder, application)) ||
         start_in(application.program.parent_path(), application);
}

bool has_visible_desktop() {
  USEROBJECTFLAGS flags{};
  return GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags,
                                   nullptr) &&
         (flags.dwFlags & WSF_VISIBLE) != 0;
}

}  // namespace wrenfall::reporter
