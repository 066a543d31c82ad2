/*
 * Prints what a user, or a screen reader, finds in the dialogs on the screen, in UTF-8: a line
 * "window<TAB>title" each, then "<id><TAB>text" for every visible control, and "focus<TAB>id" for
 * the one that the keyboard goes to. Line ends within a text are printed as "|".
 *
 * With the name of a file it writes a picture of the first dialog's inside instead: width and height
 * as text in a line, then four bytes a pixel, blue first, from the top.
 *
 * With "--clipboard" it prints the text on the clipboard, and lets no other program use the clipboard
 * until its own input ends.
 */
#include <stdio.h>
#include <string.h>
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

static BOOL CALLBACK find_dialog(HWND window, LPARAM found) {
  wchar_t name[32];
  if (!IsWindowVisible(window) || GetClassNameW(window, name, 32) == 0) return TRUE;
  if (lstrcmpW(name, L"#32770") != 0) return TRUE;
  *(HWND*)found = window;
  return FALSE;
}

/* What is on the screen there, as a user sees it. */
static int write_picture(const char* path) {
  HWND window = NULL;
  RECT area;
  HDC screen = GetDC(NULL), memory = CreateCompatibleDC(screen);
  BITMAPINFO info = {{sizeof(BITMAPINFOHEADER), 0, 0, 1, 32, BI_RGB, 0, 0, 0, 0, 0},
                     {{0, 0, 0, 0}}};
  HBITMAP bitmap;
  void* pixels = NULL;
  FILE* file;
  EnumWindows(find_dialog, (LPARAM)&window);
  if (window == NULL || !GetClientRect(window, &area)) return 1;
  info.bmiHeader.biWidth = area.right;
  info.bmiHeader.biHeight = -area.bottom;
  /* In a mirrored window the left upper corner is another point. */
  MapWindowPoints(window, NULL, (POINT*)&area, 2);
  bitmap = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &pixels, NULL, 0);
  if (bitmap == NULL) return 1;
  SelectObject(memory, bitmap);
  if (!BitBlt(memory, 0, 0, info.bmiHeader.biWidth, -info.bmiHeader.biHeight, screen, area.left,
              area.top, SRCCOPY))
    return 1;
  GdiFlush();
  file = fopen(path, "wb");
  if (file == NULL) return 1;
  fprintf(file, "%ld %ld\n", area.right - area.left, area.bottom - area.top);
  fwrite(pixels, 4, (size_t)(area.right - area.left) * (size_t)(area.bottom - area.top), file);
  return fclose(file);
}

static int hold_clipboard(void) {
  HANDLE text;
  int attempts = 0;
  while (!OpenClipboard(NULL)) {
    if (++attempts == 100) return 1;
    Sleep(50);
  }
  text = GetClipboardData(CF_UNICODETEXT);
  print_text(text == NULL ? L"" : (const wchar_t*)GlobalLock(text));
  fflush(stdout);
  while (getchar() != EOF) continue;
  return 0;
}

int main(int count, char** arguments) {
  SetProcessDPIAware();
  if (count > 1 && strcmp(arguments[1], "--clipboard") == 0) return hold_clipboard();
  if (count > 1) return write_picture(arguments[1]);
  EnumWindows(print_dialog, 0);
  return 0;
}
