/*
 * A host that crashes, and that sends the report when it is started again.
 *
 *   crashing_host [OPTION ...] KIND             crashes in a chosen way
 *   crashing_host [OPTION ...] --capture        takes a report of itself and goes on
 *   crashing_host [OPTION ...] --send-pending   sends what earlier runs left in the store
 *
 * It starts with upload policy "manual": reports stay in the store until --send-pending. A host that
 * sends only when the machine is online loses no report.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wrenfall/wrenfall.h>
/* After the headers above, which need nothing of it. */
#include <windows.h>

#include "utf8_arguments.h"

static const char kUsage[] =
    "usage: crashing_host [OPTION ...] KIND | --capture | --send-pending\n"
    "\n"
    "KIND is how to crash:\n"
    "  access-violation    writes through a null pointer\n"
    "  stack-overflow      calls itself without end\n"
    "  abort               calls abort()\n"
    "  cpp-exception       raises what an uncaught C++ exception raises\n"
    "  division-by-zero    divides an integer by zero\n"
    "\n"
    "OPTION:\n"
    "  --store DIR         the report store (default: the user's own)\n"
    "  --database NAME     the service database (default: 127, which development builds\n"
    "                      of the library take for the service on this machine)\n"
    "  --policy POLICY     dialog, quiet or manual (default: manual)\n"
    "  --user TEXT         the user that reports name\n"
    "  --attach FILE       a file that travels with each report\n"
    "  --help              prints this\n";

struct settings {
  const char* store;
  const char* database;
  const char* user;
  const char* attachment;
  const char* action;
  uint32_t policy;
};

static void print_log(wrenfall_log_level level, const char* message, void* user_data) {
  static const char* const kNames[] = {"debug", "info", "warning", "error"};
  (void)user_data;
  fprintf(stderr, "  %s: %s\n", level >= 0 && level <= 3 ? kNames[level] : "info", message);
}

/* ------------------------------------------------------------------------------ ways to crash */

static volatile int zero = 0;
/* Keeps the compiler from leaving out a crash whose result nobody uses. */
static volatile int sink;

static void access_violation(void) {
  volatile int* nowhere = NULL;
  *nowhere = 1;
}

static int stack_overflow(int depth) {
  volatile char page[4096];
  page[0] = (char)depth;
  /* Never zero, but the compiler cannot know. */
  if (depth == zero) return page[0];
  return stack_overflow(depth + 1) + page[0];
}

/* Not 1 / zero, for which compilers need no division. */
static int division_by_zero(void) { return 100 / zero; }

/* The exception that the C++ runtime raises for `throw`; no handler takes it here. */
static void cpp_exception(void) { RaiseException(0xE06D7363, EXCEPTION_NONCONTINUABLE, 0, NULL); }

/* Returns only when the kind is unknown. */
static int crash(const char* kind) {
  if (strcmp(kind, "access-violation") == 0) access_violation();
  if (strcmp(kind, "stack-overflow") == 0) sink = stack_overflow(1);
  if (strcmp(kind, "abort") == 0) abort();
  if (strcmp(kind, "cpp-exception") == 0) cpp_exception();
  if (strcmp(kind, "division-by-zero") == 0) sink = division_by_zero();
  fprintf(stderr, "crashing_host: unknown kind of crash: %s\n%s", kind, kUsage);
  return 2;
}

/* ------------------------------------------------------------------------------ the host */

static int start_library(const struct settings* settings) {
  wrenfall_options* options = wrenfall_options_new(settings->database, "Crashing Host", "1.0");
  wrenfall_result result;
  wrenfall_options_set_store_dir(options, settings->store);
  wrenfall_options_set_upload_policy(options, settings->policy);
  /* The recommended setting: see "Offline, and how much is kept" in the integration guide. */
  wrenfall_options_set_retention(options, 100, 30, 500ull * 1024 * 1024);
  wrenfall_options_set_resend(options, 1);
  wrenfall_options_set_report_limit(options, 10, 600);
  wrenfall_options_set_user(options, settings->user);
  wrenfall_options_set_notes(options, "A crash that was asked for.");
  wrenfall_options_set_attribute(options, "example", "crashing_host");
  wrenfall_options_add_attachment(options, settings->attachment);
  wrenfall_options_set_logger(options, print_log, NULL);
  /* From here on the options belong to the library, whatever the result. */
  result = wrenfall_init(options);
  if (result != WRENFALL_OK) fprintf(stderr, "crashing_host: wrenfall_init gave %d\n", (int)result);
  return result == WRENFALL_OK;
}

/* Sends on this thread, to be able to tell what happened. A host with a window calls
 * wrenfall_post_pending_reports_async instead. Returns the number of reports that could not be
 * sent. */
static uint32_t send_pending(void) {
  uint32_t failed = 0;
  uint32_t i;
  wrenfall_report_list* reports = wrenfall_pending_reports();
  const uint32_t count = wrenfall_report_list_count(reports);
  printf("%u pending\n", (unsigned)count);
  for (i = 0; i < count; ++i) {
    wrenfall_upload_result outcome;
    memset(&outcome, 0, sizeof outcome);
    outcome.size = sizeof outcome;
    if (wrenfall_send_report(wrenfall_report_list_folder(reports, i), NULL, NULL, NULL, &outcome) ==
        WRENFALL_OK) {
      printf("sent: crash %lld, stack key %lld, %s\n", (long long)outcome.crash_id,
             (long long)outcome.stack_key_id, outcome.info_url == NULL ? "" : outcome.info_url);
    } else {
      printf("not sent: result %d, HTTP status %d\n", (int)outcome.result,
             (int)outcome.http_status);
      ++failed;
    }
    wrenfall_upload_result_free(&outcome);
  }
  wrenfall_report_list_free(reports);
  return failed;
}

static int run(const struct settings* settings) {
  int status;
  if (!start_library(settings)) return 1;
  if (strcmp(settings->action, "--send-pending") == 0) {
    status = send_pending() == 0 ? 0 : 1;
  } else if (strcmp(settings->action, "--capture") == 0) {
    status = wrenfall_capture_report() == WRENFALL_OK ? 0 : 1;
  } else {
    printf("crashing: %s\n", settings->action);
    fflush(stdout);
    status = crash(settings->action);
  }
  wrenfall_shutdown();
  return status;
}

/* ------------------------------------------------------------------------------ arguments */

static int parse_policy(const char* text, uint32_t* policy) {
  if (strcmp(text, "dialog") == 0)
    *policy = WRENFALL_UPLOAD_DIALOG;
  else if (strcmp(text, "quiet") == 0)
    *policy = WRENFALL_UPLOAD_QUIET;
  else if (strcmp(text, "manual") == 0)
    *policy = WRENFALL_UPLOAD_MANUAL;
  else
    return 0;
  return 1;
}

/* Stores the value of an option; 0 when the option is unknown. */
static int apply_option(struct settings* settings, const char* name, const char* value) {
  if (strcmp(name, "--store") == 0)
    settings->store = value;
  else if (strcmp(name, "--database") == 0)
    settings->database = value;
  else if (strcmp(name, "--user") == 0)
    settings->user = value;
  else if (strcmp(name, "--attach") == 0)
    settings->attachment = value;
  else if (strcmp(name, "--policy") == 0)
    return parse_policy(value, &settings->policy);
  else
    return 0;
  return 1;
}

static int is_action(const char* argument) {
  return strncmp(argument, "--", 2) != 0 || strcmp(argument, "--capture") == 0 ||
         strcmp(argument, "--send-pending") == 0;
}

static int parse(int argc, char** argv, struct settings* settings) {
  int i = 1;
  while (i < argc) {
    if (is_action(argv[i])) {
      if (settings->action != NULL) return 0;
      settings->action = argv[i++];
    } else {
      if (i + 1 >= argc || !apply_option(settings, argv[i], argv[i + 1])) return 0;
      i += 2;
    }
  }
  return settings->action != NULL;
}

int main(void) {
  struct settings settings = {NULL, "127", NULL, NULL, NULL, WRENFALL_UPLOAD_MANUAL};
  int argc = 0;
  char** const argv = utf8_arguments(&argc);
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
