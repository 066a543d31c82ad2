/* exit_code FILE PROGRAM [ARGUMENT]...: runs the program with its own standard handles and writes the exit code to the
 * file, in decimal. Unix sees only the low byte of a code, and 0 where another process has ended the program. */
#include <windows.h>

#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  const char* command_line = GetCommandLineA();
  STARTUPINFOA startup = {0};
  PROCESS_INFORMATION process = {0};
  DWORD code = 0;
  FILE* file = NULL;
  char rest[4096];
  int skipped = 0;
  /* No argument before the program's has a blank inside quotation marks that are escaped. */
  for (int quoted = 0; *command_line != '\0' && skipped < 2; ++command_line) {
    if (*command_line == '"') quoted = !quoted;
    if (*command_line == ' ' && !quoted && command_line[1] != ' ') ++skipped;
  }
  if (argc < 3 || strlen(command_line) >= sizeof rest) return 2;
  strcpy(rest, command_line);
  startup.cb = sizeof startup;
  if (!CreateProcessA(NULL, rest, NULL, NULL, TRUE, 0, NULL, NULL, &startup, &process)) return 3;
  WaitForSingleObject(process.hProcess, INFINITE);
  GetExitCodeProcess(process.hProcess, &code);
  file = fopen(argv[1], "w");
  if (file == NULL) return 4;
  fprintf(file, "%lu", code);
  return fclose(file);
}
