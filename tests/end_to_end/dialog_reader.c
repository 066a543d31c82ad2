/*
 * Prints what a user, or a screen reader, finds in the dialogs on the screen, in UTF-8: a line
 * "window<TAB>title" each, then "<id><TAB>text" for every visible control, and "focus<TAB>id" for
 * the one that the keyboard goes to. Line ends within a text are printed as "|".
 */
#include <stdio.h>
#include <windows.h>

#define ANSWER_MS 2000

static void print_text(const wchar_t* text) {
  char utf8[8192];
  char* c;
  if (WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8, sizeof utf8, NULL, NULL) == 0) utf8[0] = 0;
  for (c = utf8; *c != 0; ++c) {
    if (*c == '\n') putchar('|');
    if (*c != '\n' && *c != '\r') putchar(*c);
  }
  putchar('\n');
}

/* A window that does not answer prints as such instead of holding the test up. */
static void print_window_text(HWND window) {
  static wchar_t text[4096];
  DWORD_PTR length = 0;
  text[0] = 0;
  if (!SendMessageTimeoutW(window, WM_GETTEXT, sizeof text / sizeof *text, (LPARAM)text,
                           SMTO_ABORTIFHUNG, ANSWER_MS, &length)) {
    printf("<no answer>\n");
    return;
  }
  print_text(text);
}

static BOOL CALLBACK print_control(HWND control, LPARAM unused) {
  (void)unused;
  if (IsWindowVisible(control)) {
    printf("%d\t", GetDlgCtrlID(control));
    print_window_text(control);
  }
  return TRUE;
}

static BOOL CALLBACK print_dialog(HWND window, LPARAM unused) {
  wchar_t name[32];
  GUITHREADINFO thread;
  (void)unused;
  if (!IsWindowVisible(window) || GetClassNameW(window, name, 32) == 0) return TRUE;
  if (lstrcmpW(name, L"#32770") != 0) return TRUE;
  printf("window\t");
  print_window_text(window);
  EnumChildWindows(window, print_control, 0);
  thread.cbSize = sizeof thread;
  if (GetGUIThreadInfo(GetWindowThreadProcessId(window, NULL), &thread) &&
      IsChild(window, thread.hwndFocus)) {
    printf("focus\t%d\n", GetDlgCtrlID(thread.hwndFocus));
  }
  return TRUE;
}

int main(void) {
  EnumWindows(print_dialog, 0);
  return 0;
}
