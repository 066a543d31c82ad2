/* What the examples share: the command line in the library's encoding. */
#ifndef EXAMPLES_UTF8_ARGUMENTS_H_
#define EXAMPLES_UTF8_ARGUMENTS_H_

#include <stdlib.h>
/* Before the header below, which needs it. */
#include <windows.h>

#include <shellapi.h>

/* The program's arguments in UTF-8, which the library speaks; those of main are in the machine's
 * code page. Kept until the program ends, which it does at once when there is no memory. */
static char** utf8_arguments(int* count) {
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), count);
  char** const utf8 = wide == NULL ? NULL : (char**)calloc((size_t)*count + 1, sizeof *utf8);
  int i;
  if (utf8 == NULL) exit(2);
  for (i = 0; i < *count; ++i) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, NULL, 0, NULL, NULL);
    utf8[i] = (char*)malloc((size_t)size);
    if (utf8[i] == NULL) exit(2);
    WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, utf8[i], size, NULL, NULL);
  }
  LocalFree(wide);
  return utf8;
}

#endif
