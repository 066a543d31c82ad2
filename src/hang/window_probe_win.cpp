#include <windows.h>

#include "hang/window_probe.h"

namespace wrenfall {
namespace {

constexpr UINT kAnswerTimeoutMs = 50;

struct Probe {
  const std::atomic<bool>& stopping;
  bool answered = false;
};

BOOL CALLBACK probe_window(HWND window, LPARAM parameter) {
  auto& probe = *reinterpret_cast<Probe*>(parameter);
  if (probe.stopping) return FALSE;
  DWORD process_id = 0;
  GetWindowThreadProcessId(window, &process_id);
  if (process_id != GetCurrentProcessId() || !IsWindowVisible(window)) return TRUE;
  DWORD_PTR result = 0;
  if (SendMessageTimeoutW(window, WM_NULL, 0, 0, SMTO_BLOCK | SMTO_ABORTIFHUNG, kAnswerTimeoutMs,
                          &result) != 0) {
    probe.answered = true;
  }
  return TRUE;
}

}  // namespace

bool any_window_answers(const std::atomic<bool>& stopping) {
  Probe probe{stopping};
  EnumWindows(probe_window, reinterpret_cast<LPARAM>(&probe));
  return probe.answered;
}

}  // namespace wrenfall
