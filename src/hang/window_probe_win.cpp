#include <windows.h>

#include "hang/window_probe.h"

namespace wrenfall {
namespace {

struct Probe {
  const std::atomic<bool>& stopping;
  WindowAnswers answers;
};

BOOL CALLBACK ask_window(HWND window, LPARAM parameter) {
  auto& probe = *reinterpret_cast<Probe*>(parameter);
  if (probe.stopping) return FALSE;
  DWORD process_id = 0;
  const DWORD thread_id = GetWindowThreadProcessId(window, &process_id);
  if (process_id != GetCurrentProcessId() || !IsWindowVisible(window)) return TRUE;
  ++probe.answers.asked;
  DWORD_PTR result = 0;
  if (SendMessageTimeoutW(window, WM_NULL, 0, 0, SMTO_BLOCK | SMTO_ABORTIFHUNG,
                          static_cast<UINT>(kWindowPatience.count()), &result) != 0) {
    probe.answers.any = true;
  } else if (probe.answers.silent_thread_id == 0) {
    probe.answers.silent_thread_id = thread_id;
  }
  return TRUE;
}

}  // namespace

WindowAnswers ask_windows(const std::atomic<bool>& stopping) {
  Probe probe{stopping, {}};
  EnumWindows(ask_window, reinterpret_cast<LPARAM>(&probe));
  return probe.answers;
}

}  // namespace wrenfall
