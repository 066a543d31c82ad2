/* exit_code FILE PROGRAM [ARGUMENT]...: runs the program with its own standard handles and writes the exit code to the
 * file, in decimal. Unix sees only the low byte of a code, and 0 where another process has ended the program. */
#include <windows.h>
/* Needs the header above. */
#include <shellapi.h>
#include <stdio.h>
#include <wchar.h>

int main(void) {
  const wchar_t* command_line = GetCommandLineW();
  int count = 0;
  wchar_t** const arguments = CommandLineToArgvW(command_line, &count);
  STARTUPINFOW startup = {0};
  PROCESS_INFORMATION process = {0};
  DWORD code = 0;
  FILE* file = NULL;
  wchar_t rest[4096];
  int skipped = 0;
  /* No argument before the program's has a blank inside quotation marks that are escaped. */
  for (int quoted = 0; *command_line != L'\0' && skipped < 2; ++command_line) {
    if (*command_line == L'"') quoted = !quoted;
    if (*command_line == L' ' && !quoted && command_line[1] != L' ') ++skipped;
  }
  if (arguments == NULL || count < 3 || wcslen(command_line) >= sizeof rest / sizeof *rest)
    return 2;
  wcscpy(rest, command_line);
  startup.cb = sizeof startup;
  if (!CreateProcessW(NULL, rest, NULL, NULL, TRUE, 0, NULL, NULL, &startup, &process)) return 3;
  WaitForSingleObject(process.hProcess, INFINITE);
  GetExitCodeProcess(process.hProcess, &code);
  file = _wfopen(arguments[1], L"w");
  if (file == NULL) return 4;
  fprintf(file, "%lu", code);
  return fclose(file);
}
