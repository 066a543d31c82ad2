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

#include "crash_kinds.h"
#include "links.h"

#define MAX_WORDS 16

static wrenfall_options* options;

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

/* Setters of a running library. */
static const struct {
  const char* name;
  wrenfall_result (*set)(const char*);
} kRuntime[] = {
    {"set_key", wrenfall_set_key},
    {"set_user", wrenfall_set_user},
    {"set_email", wrenfall_set_email},
    {"set_user_description", wrenfall_set_user_description},
    {"set_notes", wrenfall_set_notes},
    {"set_environment", wrenfall_set_environment},
    {"add_attachment", wrenfall_add_attachment},
    {"remove_attachment", wrenfall_remove_attachment},
    {"watch", wrenfall_watch_thread},
};

static void answer(long long result) {
  printf("%lld\n", result);
  fflush(stdout);
}

/* The message at which the logging callback crashes. */
static char fatal_message[256];

static void crash_at_message(wrenfall_log_level level, const char* message, void* user_data) {
  (void)level;
  (void)user_data;
  if (strstr(message, fatal_message) != NULL) crash("access-violation");
}

/* The warnings and errors that the logging callback got, each with a tab behind it. */
static char messages[1 << 14];

static void note_message(wrenfall_log_level level, const char* message, void* user_data) {
  const size_t length = strlen(messages);
  (void)user_data;
  if (level < WRENFALL_LOG_WARN) return;
  snprintf(messages + length, sizeof messages - length, "%s\t", message);
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
  if (strcmp(name, "crash_at_message") == 0) {
    snprintf(fatal_message, sizeof fatal_message, "%s", value);
    wrenfall_options_set_logger(options, crash_at_message, NULL);
  }
  if (strcmp(name, "note_messages") == 0) wrenfall_options_set_logger(options, note_message, NULL);
  if (strcmp(name, "open_support_url") == 0)
    wrenfall_options_set_open_support_url(options, atoi(value));
  if (strcmp(name, "protect_exception_filter") == 0)
    wrenfall_options_set_protect_exception_filter(options, atoi(value));
  answer(0);
}

static void* wer_context;
static int wer_registrations;

static HRESULT WINAPI note_wer_registration(const wchar_t* module, void* context) {
  (void)module;
  wer_context = context;
  ++wer_registrations;
  return S_OK;
}

/* Leads the system's function for registering helper modules here: on Windows a module gets what is
 * given to it, which Wine forgets. */
static void catch_wer_registration(void) {
  unsigned char jump[] = {0x48, 0xB8, 0, 0, 0,    0,
                          0,    0,    0, 0, 0xFF, 0xE0}; /* mov rax, ..; jmp rax */
  HRESULT(WINAPI* const target)(const wchar_t*, void*) = note_wer_registration;
  const FARPROC function =
      GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "WerRegisterRuntimeExceptionModule");
  void* code = NULL;
  SIZE_T written = 0;
  DWORD protection = 0;
  memcpy(&code, &function, sizeof code);
  memcpy(jump + 2, &target, sizeof target);
  VirtualProtect(code, sizeof jump, PAGE_EXECUTE_READWRITE, &protection);
  answer(!WriteProcessMemory(GetCurrentProcess(), code, jump, sizeof jump, &written));
}

/* Uses that many names, one after the other; answers the last result. */
static void set_and_remove_attributes(int count) {
  wrenfall_result result = 0;
  int i;
  for (i = 0; i < count && result == 0; ++i) {
    char name[32];
    snprintf(name, sizeof name, "passing %d", i);
    result = wrenfall_set_attribute(name, "value");
    if (result == 0) result = wrenfall_set_attribute(name, NULL);
  }
  answer(result);
}

/* "result status crash_id stack_key_id info_url" */
static void send_report(const char* folder, const char* user) {
  wrenfall_upload_result outcome;
  wrenfall_result result;
  /* A host need set the size alone: every call fills the rest. */
  memset(&outcome, 0x5A, sizeof outcome);
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

static wrenfall_report* report;

/* Answers the outcome as `send_report` does, with a result record of the given size. */
static void print_outcome(wrenfall_result result, const wrenfall_upload_result* outcome) {
  printf("%d %d %d %lld %lld %s\n", (int)result, (int)outcome->result, (int)outcome->http_status,
         (long long)outcome->crash_id, (long long)outcome->stack_key_id,
         outcome->info_url == NULL ? "-" : outcome->info_url);
  fflush(stdout);
}

static void post(const char* kind, char** word, int count) {
  wrenfall_upload_result outcome;
  wrenfall_result result;
  memset(&outcome, 0, sizeof outcome);
  outcome.size = sizeof outcome;
  outcome.http_status = -7;
  if (strcmp(kind, "feedback") == 0) {
    result = wrenfall_post_feedback(count > 0 ? word[0] : NULL, count > 1 ? word[1] : NULL,
                                    (const char* const*)(word + 2),
                                    count > 2 ? (uint32_t)(count - 2) : 0, &outcome);
  } else if (strcmp(kind, "asan") == 0) {
    result = wrenfall_post_asan_report(count > 0 ? word[0] : NULL, &outcome);
  } else {
    if (count > 0) outcome.size = (uint32_t)atoi(word[0]);
    result = wrenfall_report_post(report, &outcome);
  }
  print_outcome(result, &outcome);
  wrenfall_upload_result_free(&outcome);
}

static DWORD WINAPI post_feedback_thread(void* unused) {
  (void)unused;
  return (DWORD)wrenfall_post_feedback("background", "", NULL, 0, NULL);
}

/* Posts on a thread of its own and answers at once. */
static void post_in_background(void) {
  const HANDLE thread = CreateThread(NULL, 0, post_feedback_thread, NULL, 0, NULL);
  if (thread != NULL) CloseHandle(thread);
  answer(thread == NULL);
}

/* "report" and then: new FORMAT, platform, exception, register, thread, frame, module,
 * attachment */
static void edit_report(char** word, int count) {
  const char* const what = count > 0 ? word[0] : "";
  const char* text[7] = {NULL, NULL, NULL, NULL, NULL, NULL, NULL};
  int32_t index = 0;
  int i;
  for (i = 1; i < count && i < 8; ++i) text[i - 1] = word[i];
  if (strcmp(what, "new") == 0) {
    wrenfall_report_free(report);
    report = wrenfall_report_new((uint32_t)atoi(text[0]));
  } else if (strcmp(what, "platform") == 0) {
    wrenfall_report_set_platform(report, text[0], text[1]);
  } else if (strcmp(what, "exception") == 0) {
    wrenfall_report_set_exception(report, text[0], text[1]);
  } else if (strcmp(what, "register") == 0) {
    wrenfall_report_add_register(report, text[0], text[1]);
  } else if (strcmp(what, "thread") == 0) {
    index = wrenfall_report_add_thread(report, text[0], text[1] == NULL ? 0 : atoi(text[1]));
  } else if (strcmp(what, "frame") == 0) {
    wrenfall_report_add_frame(report, atoi(text[0]), text[1], text[2], (uint32_t)atoi(text[3]),
                              text[4], strtoull(text[5], NULL, 16));
  } else if (strcmp(what, "module") == 0) {
    wrenfall_report_add_module(report, text[0], text[1], strtoull(text[2], NULL, 16),
                               strtoull(text[3], NULL, 16), text[4], text[5]);
  } else if (strcmp(what, "attachment") == 0) {
    wrenfall_report_add_attachment(report, text[0]);
  }
  answer(index);
}

static HANDLE held = INVALID_HANDLE_VALUE;

/* Opens a file without sharing it, in place of the one held before; an empty name opens none. */
static void hold(const char* path) {
  static wchar_t wide[4096];
  if (held != INVALID_HANDLE_VALUE) CloseHandle(held);
  held = INVALID_HANDLE_VALUE;
  if (path == NULL || *path == '\0') {
    answer(0);
    return;
  }
  MultiByteToWideChar(CP_UTF8, 0, path, -1, wide, 4096);
  held = CreateFileW(wide, GENERIC_READ, 0, NULL, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, NULL);
  answer(held == INVALID_HANDLE_VALUE);
}

static void print_text(const char* text) {
  printf("%s\n", text == NULL ? "-" : text);
  fflush(stdout);
}

/* False when there is no such setter. A missing value is NULL. */
static int set_running(const char* name, const char* value) {
  size_t i;
  for (i = 0; i < sizeof kRuntime / sizeof *kRuntime; ++i) {
    if (strcmp(kRuntime[i].name, name) != 0) continue;
    answer(kRuntime[i].set(value));
    return 1;
  }
  return 0;
}

static void execute(char** word, int count) {
  const char* const first = count > 1 ? word[1] : NULL;
  const char* const second = count > 2 ? word[2] : NULL;
  if (set_running(word[0], first)) return;
  if (strcmp(word[0], "report") == 0) {
    edit_report(word + 1, count - 1);
  } else if (strcmp(word[0], "post_in_background") == 0) {
    post_in_background();
  } else if (strcmp(word[0], "post") == 0) {
    post(first, word + 2, count - 2);
  } else if (strcmp(word[0], "options") == 0) {
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
  } else if (strcmp(word[0], "set_attribute") == 0) {
    answer(wrenfall_set_attribute(first, second));
  } else if (strcmp(word[0], "many_attributes") == 0) {
    set_and_remove_attributes(atoi(first));
  } else if (strcmp(word[0], "quiet") == 0) {
    wrenfall_set_quiet_mode(atoi(first));
    answer(0);
  } else if (strcmp(word[0], "hang_detection") == 0) {
    wrenfall_options_set_hang_detection(options, (uint32_t)atoi(first), (uint32_t)atoi(second));
    answer(0);
  } else if (strcmp(word[0], "heartbeat") == 0) {
    wrenfall_heartbeat();
    answer(0);
  } else if (strcmp(word[0], "unwatch") == 0) {
    wrenfall_unwatch_thread();
    answer(0);
  } else if (strcmp(word[0], "environment") == 0) {
    print_text(wrenfall_get_environment());
  } else if (strcmp(word[0], "catch_wer_registration") == 0) {
    catch_wer_registration();
  } else if (strcmp(word[0], "wer_registrations") == 0) {
    answer(wer_registrations);
  } else if (strcmp(word[0], "wer_context") == 0) {
    answer((long long)(intptr_t)wer_context);
  } else if (strcmp(word[0], "hold") == 0) {
    hold(first);
  } else if (strcmp(word[0], "link") == 0 && count > 3) {
    answer(make_link(word[1], word[2], word[3]));
  } else if (strcmp(word[0], "messages") == 0) {
    print_text(messages);
    messages[0] = '\0';
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
