/*
 * A host that starts in a safe mode after three crashes in a row, each within a minute of its start.
 *
 *   safe_mode STORE [--crash | --just-return]
 *
 * It prints how its last run ended and in which mode it starts. Then it does what it was told, or ends
 * as it should. The safe mode is what the host makes of it: without plug-ins, with default settings, or
 * with an offer to repair something. After a run that did not crash the mode is normal again.
 */
#include <stdio.h>
#include <string.h>
#include <wrenfall/wrenfall.h>
/* After the headers above, which need nothing of it. */
#include <windows.h>

#include "utf8_arguments.h"

enum { kCrashesBeforeSafeMode = 3 };

static const char* name_of(uint32_t state) {
  static const char* const kNames[] = {"none", "clean", "crashed", "hung", "ended", "unknown"};
  return state < sizeof kNames / sizeof *kNames ? kNames[state] : "unknown";
}

/* Whether to start in the safe mode. A host that cannot find out starts as always. */
static int wants_safe_mode(void) {
  wrenfall_last_run run;
  memset(&run, 0, sizeof run);
  run.size = sizeof run;
  if (wrenfall_get_last_run(&run) != WRENFALL_OK) return 0;
  printf("last run: %s, exception 0x%08lX, exit code %lu, %lu ms, %lu crashes in a row\n",
         name_of(run.state), (unsigned long)run.exception_code, (unsigned long)run.exit_code,
         (unsigned long)run.uptime_ms_capped, (unsigned long)run.crashes_in_a_row);
  return run.crashes_in_a_row >= kCrashesBeforeSafeMode;
}

int main(void) {
  int argc = 0;
  char** const argv = utf8_arguments(&argc);
  const char* const action = argc > 2 ? argv[2] : "";
  wrenfall_options* options;
  if (argc < 2) {
    fputs("usage: safe_mode STORE [--crash | --just-return]\n", stderr);
    return 2;
  }
  options = wrenfall_options_new("127", "Safe Mode", "1.0");
  wrenfall_options_set_store_dir(options, argv[1]);
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
  if (wrenfall_init(options) != WRENFALL_OK) return 1;
  printf("mode: %s\n", wants_safe_mode() ? "safe" : "normal");
  fflush(stdout);
  if (strcmp(action, "--crash") == 0) {
    volatile int* nowhere = NULL;
    *nowhere = 1;
  }
  if (strcmp(action, "--just-return") == 0) return 7; /* without wrenfall_shutdown */
  wrenfall_shutdown();
  return 0;
}
