#include <windows.h>

#include "hang/window_probe.h"
#include "support/system_library_win.h"

namespace wrenfall {
namespace {

struct User32 {
  SystemLibrary library{L"user32.dll"};
  decltype(&EnumWindows) enum_windows = library.find("EnumWindows");
  decltype(&GetWindowThreadProcessId) thread_of_window = library.find("GetWindowThreadProcessId");
  decltype(&IsWindowVisible) is_visible = library.find("IsWindowVisible");
  decltype(&SendMessageTimeoutW) send_message = library.find("SendMessageTimeoutW");
};

struct Probe {
  const User32& user32;
  const std::atomic<bool>& stopping;
  WindowAnswers answers;
};

BOOL CALLBACK ask_window(HWND window, LPARAM parameter) {
  auto& probe = *reinterpret_cast<Probe*>(parameter);
  if (probe.stopping) return FALSE;
  DWORD process_id = 0;
  const DWORD thread_id = probe.user32.thread_of_window(window, &process_id);
  if (process_id != GetCurrentProcessId() || !probe.user32.is_visible(window)) return TRUE;
  ++probe.answers.asked;
  DWORD_PTR result = 0;
  if (probe.user32.send_message(window, WM_NULL, 0, 0, SMTO_BLOCK | SMTO_ABORTIFHUNG,
                                static_cast<UINT>(kWindowPatience.count()), &result) != 0) {
    probe.answers.any = true;
  } else if (probe.answers.silent_thread_id == 0) {
    probe.answers.silent_thread_id = thread_id;
  }
  return TRUE;
}

}  // namespace

WindowProbe make_window_probe() {
  return [user32 = User32()](const std::atomic<bool>& stopping) {
    Probe probe{user32, stopping, {}};
    if (user32.library.is_complete()) {
      user32.enum_windows(ask_window, reinterpret_cast<LPARAM>(&probe));
    }
    return probe.answers;
  };
}

}  // namespace wrenfall
