/*
 * A host that does what it is told: one command a line on standard input, its words separated by
 * tabs, in UTF-8; one line of answer each. Ends at the end of the input. Lets the tests take a real
 * host process through any story.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wrenfall/wrenfall.h>

#include <windows.h>

#define MAX_WORDS 8

static wrenfall_options* options;
static volatile int zero = 0;

typedef void (*text_setter)(wrenfall_options*, const char*);
typedef void (*number_setter)(wrenfall_options*, uint32_t);

static const struct {
  const char* name;
  text_setter set;
} kTexts[] = {
    {"store_dir", wrenfall_options_set_store_dir},
    {"monitor_path", wrenfall_options_set_monitor_path},
    {"reporter_path", wrenfall_options_set_reporter_path},
    {"theme_dir", wrenfall_options_set_theme_dir},
    {"key", wrenfall_options_set_key},
    {"user", wrenfall_options_set_user},
    {"email", wrenfall_options_set_email},
    {"user_description", wrenfall_options_set_user_description},
    {"notes", wrenfall_options_set_notes},
    {"environment", wrenfall_options_set_environment},
    {"attachment", wrenfall_options_add_attachment},
};

static const struct {
  const char* name;
  number_setter set;
} kNumbers[] = {
    {"upload_policy", wrenfall_options_set_upload_policy},
    {"crash_type_id", wrenfall_options_set_crash_type_id},
    {"dump_type", wrenfall_options_set_dump_type},
    {"minidump_flags", wrenfall_options_set_minidump_flags},
};

static void answer(long long result) {
  printf("%lld\n", result);
  fflush(stdout);
}

static void set_option(const char* name, const char* value) {
  size_t i;
  for (i = 0; i < sizeof kTexts / sizeof *kTexts; ++i) {
    if (strcmp(kTexts[i].name, name) == 0) {
      kTexts[i].set(options, value);
      answer(0);
      return;
    }
  }
  for (i = 0; i < sizeof kNumbers / sizeof *kNumbers; ++i) {
    if (strcmp(kNumbers[i].name, name) == 0) {
      kNumbers[i].set(options, (uint32_t)strtoul(value, NULL, 10));
      answer(0);
      return;
    }
  }
  if (strcmp(name, "open_support_url") == 0)
    wrenfall_options_set_open_support_url(options, atoi(value));
  if (strcmp(name, "protect_exception_filter") == 0)
    wrenfall_options_set_protect_exception_filter(options, atoi(value));
  answer(0);
}

static int overflow(int depth) {
  volatile char page[4096];
  page[0] = (char)depth;
  if (depth == zero) return page[0];
  return overflow(depth + 1) + page[0];
}

static DWORD WINAPI overflow_thread(void* unused) {
  (void)unused;
  return (DWORD)overflow(1);
}

static void crash(const char* kind) {
  volatile int* nowhere = NULL;
  if (strcmp(kind, "access-violation") == 0) *nowhere = 1;
  if (strcmp(kind, "stack-overflow") == 0) zero = overflow(1);
  if (strcmp(kind, "stack-overflow-thread") == 0)
    WaitForSingleObject(CreateThread(NULL, 0, overflow_thread, NULL, 0, NULL), INFINITE);
  if (strcmp(kind, "abort") == 0) abort();
  if (strcmp(kind, "exception") == 0) RaiseException(0xE0000042, 0, 0, NULL);
  if (strcmp(kind, "after-foreign-filter") == 0) {
    SetUnhandledExceptionFilter(NULL);
    *nowhere = 1;
  }
}

/* "result status crash_id stack_key_id info_url" */
static void send_report(const char* folder, const char* user) {
  wrenfall_upload_result outcome;
  wrenfall_result result;
  memset(&outcome, 0, sizeof outcome);
  outcome.size = sizeof outcome;
  result = wrenfall_send_report(folder, user, NULL, NULL, &outcome);
  printf("%d %d %lld %lld %s\n", (int)result, (int)outcome.http_status, (long long)outcome.crash_id,
         (long long)outcome.stack_key_id, outcome.info_url == NULL ? "-" : outcome.info_url);
  fflush(stdout);
  wrenfall_upload_result_free(&outcome);
}

/* Folders separated by tabs, oldest first. */
static void print_pending(void) {
  wrenfall_report_list* list = wrenfall_pending_reports();
  uint32_t i;
  for (i = 0; i < wrenfall_report_list_count(list); ++i) {
    printf("%s%s", i == 0 ? "" : "\t", wrenfall_report_list_folder(list, i));
  }
  printf("\n");
  fflush(stdout);
  wrenfall_report_list_free(list);
}

static void print_text(const char* text) {
  printf("%s\n", text == NULL ? "-" : text);
  fflush(stdout);
}

static void execute(char** word, int count) {
  const char* const first = count > 1 ? word[1] : NULL;
  const char* const second = count > 2 ? word[2] : NULL;
  if (strcmp(word[0], "options") == 0) {
    options = wrenfall_options_new(first, second, count > 3 ? word[3] : NULL);
    answer(0);
  } else if (strcmp(word[0], "set") == 0 && second != NULL) {
    set_option(first, second);
  } else if (strcmp(word[0], "option_attribute") == 0) {
    wrenfall_options_set_attribute(options, first, second);
    answer(0);
  } else if (strcmp(word[0], "init") == 0) {
    answer(wrenfall_init(options));
    options = NULL;
  } else if (strcmp(word[0], "shutdown") == 0) {
    wrenfall_shutdown();
    answer(0);
  } else if (strcmp(word[0], "capture") == 0) {
    answer(wrenfall_capture_report());
  } else if (strcmp(word[0], "send") == 0) {
    send_report(first, second);
  } else if (strcmp(word[0], "discard") == 0) {
    answer(wrenfall_discard_report(first));
  } else if (strcmp(word[0], "pending") == 0) {
    print_pending();
  } else if (strcmp(word[0], "post_pending") == 0) {
    answer(wrenfall_post_pending_reports_async());
  } else if (strcmp(word[0], "has_capability") == 0) {
    answer(wrenfall_has_capability((uint32_t)atoi(first)));
  } else if (strcmp(word[0], "environment") == 0) {
    print_text(wrenfall_get_environment());
  } else if (strcmp(word[0], "pid") == 0) {
    answer(GetCurrentProcessId());
  } else if (strcmp(word[0], "crash") == 0) {
    crash(first);
    answer(-1);
  } else {
    print_text("unknown command");
  }
}

int main(void) {
  static char line[1 << 16];
  while (fgets(line, sizeof line, stdin) != NULL) {
    char* words[MAX_WORDS];
    int count = 0;
    char* rest = line;
    line[strcspn(line, "\r\n")] = '\0';
    while (rest != NULL && count < MAX_WORDS) {
      char* const tab = strchr(rest, '\t');
      words[count++] = rest;
      if (tab != NULL) *tab = '\0';
      rest = tab == NULL ? NULL : tab + 1;
    }
    execute(words, count);
  }
  return 0;
}
