/*
 * A host that hangs on command and recovers: shows hang detection.
 *
 * It has a window, whose message loop is the main thread's sign of life; with --no-window it relies
 * on heartbeats. Commands come on standard input, one a line:
 *
 *   hang main SECONDS      the main thread does nothing for that long
 *   hang worker SECONDS    starts a watched thread "worker" that does nothing for that long, goes
 *                          on for a while, and ends
 *   quit                   ends the program; so does the end of the input
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wrenfall/wrenfall.h>
/* After the headers above, which need nothing of it. */
#include <windows.h>

#include "utf8_arguments.h"

static const char kUsage[] =
    "usage: hanging_host [OPTION ...]\n"
    "Commands on standard input: hang main SECONDS, hang worker SECONDS, quit\n"
    "\n"
    "  --no-window         no window; the main thread sends heartbeats instead\n"
    "  --threshold MS      silence that counts as a hang (default: 1000)\n"
    "  --terminate         a hung process is ended once its report is complete\n"
    "  --store DIR         the report store (default: the user's own)\n"
    "  --help              prints this\n";

enum { BEAT_MS = 50 };

struct settings {
  int window;
  uint32_t threshold_ms;
  uint32_t policy;
  const char* store;
};

/* How long the main thread is asked to hang, in milliseconds; it takes the request. */
static volatile LONG main_hang_ms = 0;
static volatile LONG quitting = 0;

static void print_log(wrenfall_log_level level, const char* message, void* user_data) {
  (void)level;
  (void)user_data;
  printf("log: %s\n", message);
  fflush(stdout);
}

static void hang(const char* name, DWORD milliseconds) {
  printf("%s hangs for %lu ms\n", name, (unsigned long)milliseconds);
  fflush(stdout);
  Sleep(milliseconds);
  printf("%s goes on\n", name);
  fflush(stdout);
}

static void hang_main_if_asked(void) {
  const LONG milliseconds = InterlockedExchange(&main_hang_ms, 0);
  if (milliseconds != 0) hang("main", (DWORD)milliseconds);
}

/* ------------------------------------------------------------------------------ other threads */

/* Its heartbeats refresh "main" too, so it lives no longer than it must. */
static DWORD WINAPI work(void* parameter) {
  int i;
  wrenfall_watch_thread("worker");
  hang("worker", (DWORD)(ULONG_PTR)parameter);
  for (i = 0; i < 10 && !quitting; ++i) {
    wrenfall_heartbeat();
    Sleep(BEAT_MS);
  }
  wrenfall_unwatch_thread();
  return 0;
}

static void start_worker(DWORD hang_ms) {
  const HANDLE thread = CreateThread(NULL, 0, work, (void*)(ULONG_PTR)hang_ms, 0, NULL);
  if (thread != NULL) CloseHandle(thread);
}

static DWORD WINAPI read_commands(void* unused) {
  char line[128];
  (void)unused;
  while (fgets(line, sizeof line, stdin) != NULL && strncmp(line, "quit", 4) != 0) {
    char who[16];
    double seconds;
    const int is_hang =
        sscanf(line, "hang %15s %lf", who, &seconds) == 2 && seconds > 0 && seconds < 3600;
    if (is_hang && strcmp(who, "main") == 0) {
      InterlockedExchange(&main_hang_ms, (LONG)(seconds * 1000));
    } else if (is_hang && strcmp(who, "worker") == 0) {
      start_worker((DWORD)(seconds * 1000));
    } else {
      fputs("hanging_host: not a command\n", stderr);
    }
  }
  InterlockedExchange(&quitting, 1);
  return 0;
}

/* ------------------------------------------------------------------------------ the main thread */

static void run_with_window(void) {
  const HWND window = CreateWindowExW(
      0, L"STATIC", L"Hanging host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, CW_USEDEFAULT, CW_USEDEFAULT,
      320, 200, NULL, NULL, GetModuleHandleW(NULL), NULL);
  if (window == NULL) fputs("hanging_host: no window; is there a display?\n", stderr);
  while (!quitting) {
    MSG message;
    while (PeekMessageW(&message, NULL, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    hang_main_if_asked();
    MsgWaitForMultipleObjects(0, NULL, FALSE, BEAT_MS, QS_ALLINPUT);
  }
  if (window != NULL) DestroyWindow(window);
}

static void run_without_window(void) {
  while (!quitting) {
    hang_main_if_asked();
    wrenfall_heartbeat();
    Sleep(BEAT_MS);
  }
}

static int run(const struct settings* settings) {
  wrenfall_options* options = wrenfall_options_new("127", "Hanging Host", "1.0");
  wrenfall_result result;
  HANDLE reader;
  wrenfall_options_set_store_dir(options, settings->store);
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
  /* The recommended setting: see "Offline, and how much is kept" in the integration guide. */
  wrenfall_options_set_retention(options, 100, 30, 500ull * 1024 * 1024);
  wrenfall_options_set_resend(options, 1);
  wrenfall_options_set_report_limit(options, 10, 600);
  wrenfall_options_set_hang_detection(options, settings->threshold_ms, settings->policy);
  wrenfall_options_set_logger(options, print_log, NULL);
  result = wrenfall_init(options);
  if (result != WRENFALL_OK) {
    fprintf(stderr, "hanging_host: wrenfall_init gave %d\n", (int)result);
    return 1;
  }
  reader = CreateThread(NULL, 0, read_commands, NULL, 0, NULL);
  if (reader != NULL) CloseHandle(reader);
  if (settings->window) {
    run_with_window();
  } else {
    run_without_window();
  }
  wrenfall_shutdown();
  return 0;
}

static int parse(int argc, char** argv, struct settings* settings) {
  int i;
  for (i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--no-window") == 0) {
      settings->window = 0;
    } else if (strcmp(argv[i], "--terminate") == 0) {
      settings->policy = WRENFALL_HANG_REPORT_AND_TERMINATE;
    } else if (strcmp(argv[i], "--threshold") == 0 && i + 1 < argc) {
      settings->threshold_ms = (uint32_t)strtoul(argv[++i], NULL, 10);
    } else if (strcmp(argv[i], "--store") == 0 && i + 1 < argc) {
      settings->store = argv[++i];
    } else {
      return 0;
    }
  }
  return 1;
}

int main(void) {
  int argc = 0;
  char** argv = utf8_arguments(&argc);
  struct settings settings = {1, 1000, WRENFALL_HANG_REPORT, NULL};
  if (argc == 2 && strcmp(argv[1], "--help") == 0) {
    fputs(kUsage, stdout);
    return 0;
  }
  if (!parse(argc, argv, &settings)) {
    fputs(kUsage, stderr);
    return 2;
  }
  return run(&settings);
}
