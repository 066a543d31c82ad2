/* The exported functions as a C host calls them: before init, with wrong arguments, through failing
 * and working inits. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
/* As C; it includes the others. */
#include <wrenfall/runtime_failures.h>

static int failures = 0;

static void check(int line, const char* what, long long expected, long long actual) {
  if (expected == actual) return;
  printf("line %d: %s is %lld, expected %lld\n", line, what, actual, expected);
  ++failures;
}
#define CHECK_INT(expected, actual) \
  check(__LINE__, #actual, (long long)(expected), (long long)(actual))
#define CHECK(condition) check(__LINE__, #condition, 1, (condition) ? 1 : 0)

/* What the library logs. */
static char logged[16384];

static void collect(wrenfall_log_level level, const char* message, void* user_data) {
  const size_t used = strlen(logged);
  CHECK(user_data == logged);
  snprintf(logged + used, sizeof logged - used, "%d %s\n", (int)level, message);
}

/* A folder of our own below the temporary folder, with blanks and letters beyond ASCII. */
static wchar_t wide_store[MAX_PATH * 2];
static char store[sizeof wide_store];

static void choose_store(void) {
  wchar_t temp[MAX_PATH];
  GetTempPathW(MAX_PATH, temp);
  swprintf(wide_store, MAX_PATH * 2, L"%lswrenfall abi \u00fc\u4e2d %lu-%lu", temp,
           GetCurrentProcessId(), GetTickCount());
  WideCharToMultiByte(CP_UTF8, 0, wide_store, -1, store, sizeof store, NULL, NULL);
}

static wrenfall_options* good_options(void) {
  wrenfall_options* options = wrenfall_options_new("127", "Abi Test", "1.0");
  wrenfall_options_set_store_dir(options, store);
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
  wrenfall_options_set_logger(options, collect, logged);
  logged[0] = '\0';
  return options;
}

static void test_not_initialized(void) {
  wrenfall_upload_result result;
  memset(&result, 0, sizeof result);
  result.size = sizeof result;
  CHECK(strcmp(wrenfall_version_string(), "9.0.0-dev") == 0);
  CHECK_INT(1, wrenfall_abi_version());
  CHECK(wrenfall_get_environment() == NULL);
  CHECK(wrenfall_log_file_path() == NULL);
  CHECK(wrenfall_pending_reports() == NULL);
  CHECK(!wrenfall_has_capability(WRENFALL_CAPABILITY_CRASH_CAPTURE));
  CHECK_INT(3, wrenfall_capture_report());
  CHECK_INT(3, wrenfall_send_report(store, NULL, NULL, NULL, &result));
  CHECK_INT(3, wrenfall_discard_report(store));
  CHECK_INT(3, wrenfall_post_pending_reports_async());
  CHECK_INT(1, wrenfall_hang_resume());
  wrenfall_hang_pause();
  wrenfall_hang_pause();
  CHECK_INT(0, wrenfall_hang_resume());
  CHECK_INT(0, wrenfall_hang_resume());
  CHECK_INT(1, wrenfall_hang_resume());
  CHECK_INT(3, wrenfall_get_last_run(NULL));
  CHECK_INT(3, wrenfall_set_consent(1));
  CHECK_INT(3, wrenfall_ask_pending_reports_async());
  wrenfall_shutdown();
  CHECK(!wrenfall_is_initialized());
}

static void test_null_objects(void) {
  wrenfall_upload_result result;
  wrenfall_options* options;
  wrenfall_options_free(NULL);
  wrenfall_free(NULL);
  wrenfall_report_list_free(NULL);
  CHECK_INT(0, wrenfall_report_list_count(NULL));
  CHECK(wrenfall_report_list_folder(NULL, 0) == NULL);
  CHECK(wrenfall_report_list_json(NULL, 0) == NULL);
  wrenfall_upload_result_free(NULL);
  memset(&result, 0, sizeof result);
  result.info_url = malloc(1);
  wrenfall_upload_result_free(&result);
  wrenfall_upload_result_free(&result);
  CHECK(result.info_url == NULL);

  wrenfall_options_set_user(NULL, "x");
  wrenfall_options_set_attribute(NULL, "a", "b");
  wrenfall_options_add_attachment(NULL, "a");
  wrenfall_options_set_upload_policy(NULL, 1);
  wrenfall_options_set_hang_detection(NULL, 1, 1);
  wrenfall_options_set_hang_ignore_debugger(NULL, 1);
  wrenfall_options_set_open_support_url(NULL, 1);
  wrenfall_options_set_stack_guarantee(NULL, 1);
  wrenfall_options_set_crash_signature(NULL, 1);
  wrenfall_options_set_retention(NULL, 1, 1, 1);
  wrenfall_options_set_resend(NULL, 1);
  wrenfall_options_set_report_limit(NULL, 1, 1);
  wrenfall_options_set_breadcrumbs(NULL, 1);
  wrenfall_options_set_drop_without_consent(NULL, 1);
  wrenfall_options_set_on_crash(NULL, NULL, NULL);
  wrenfall_options_set_logger(NULL, NULL, NULL);
  options = wrenfall_options_new("d", NULL, NULL);
  wrenfall_options_set_attribute(options, NULL, "value");
  wrenfall_options_set_attribute(options, "name", NULL);
  wrenfall_options_add_attachment(options, NULL);
  wrenfall_options_set_notes(options, NULL);
  wrenfall_options_free(options);
}

static LONG WINAPI own_filter(EXCEPTION_POINTERS* exception) {
  (void)exception;
  return EXCEPTION_CONTINUE_SEARCH;
}

static void check_failing_init(void (*set)(wrenfall_options*, const char*), const char* value,
                               wrenfall_result expected, const char* line) {
  wrenfall_options* const options = good_options();
  set(options, value);
  CHECK_INT(expected, wrenfall_init(options));
  CHECK(strstr(logged, line) != NULL);
  if (strstr(logged, line) == NULL) printf("%s: %s", value, logged);
}

/* Each failed init must leave nothing behind: the next one begins at once. */
static void test_failing_inits(void) {
  static const char kFile[] = "C:\\windows\\system32\\kernel32.dll";
  wrenfall_options* const options = wrenfall_options_new("127", "", "1.0");
  SetUnhandledExceptionFilter(own_filter);
  CHECK_INT(WRENFALL_ERROR_INVALID_ARGUMENT, wrenfall_init(NULL));
  CHECK_INT(WRENFALL_ERROR_INVALID_ARGUMENT, wrenfall_init(wrenfall_options_new(NULL, NULL, NULL)));
  wrenfall_options_set_store_dir(options, store);
  CHECK_INT(WRENFALL_ERROR_INVALID_ARGUMENT, wrenfall_init(options));
  CHECK(GetFileAttributesW(wide_store) == INVALID_FILE_ATTRIBUTES);
  check_failing_init(wrenfall_options_set_monitor_path, "C:\\no such folder\\Monitor.exe",
                     WRENFALL_ERROR_MONITOR_NOT_FOUND,
                     "1 wrenfall 9.0.0-dev init: 127/Abi Test/1.0\n"
                     "3 WrenfallMonitor.exe not found next to the application or the library\n");
  /* A folder is no executable. */
  check_failing_init(wrenfall_options_set_reporter_path, "C:\\", WRENFALL_ERROR_REPORTER_NOT_FOUND,
                     "3 WrenfallReporter.exe not found next to the application or the library\n");
  check_failing_init(wrenfall_options_set_monitor_path, kFile, WRENFALL_ERROR_HANDLER_START_FAILED,
                     "3 StartHandler failed for C:\\windows\\system32\\kernel32.dll\n");
  check_failing_init(wrenfall_options_set_store_dir, kFile, WRENFALL_ERROR_HANDLER_START_FAILED,
                     "3 Could not create the store ");
  CHECK(!wrenfall_is_initialized());
  CHECK(SetUnhandledExceptionFilter(NULL) == own_filter);
}

static void test_capabilities(void) {
  static const char kExpected[] = "01001111100"; /* of the numbers from 0 on */
  uint32_t capability;
  for (capability = 0; kExpected[capability] != 0; ++capability) {
    CHECK_INT(kExpected[capability], wrenfall_has_capability(capability) ? '1' : '0');
  }
  CHECK(!wrenfall_has_capability(UINT32_MAX));
}

static void test_wrong_folders(void) {
  static const char* const kWrong[] = {"C:\\no such folder", "C:\\", "\xff\xfe bad",
                                       "C:\\windows\\notepad.exe"};
  wrenfall_upload_result result;
  size_t i;
  CHECK_INT(1, wrenfall_send_report(NULL, NULL, NULL, NULL, NULL));
  CHECK_INT(1, wrenfall_discard_report(NULL));
  for (i = 0; i < sizeof kWrong / sizeof *kWrong; ++i) {
    memset(&result, 0x55, sizeof result);
    result.size = 40;
    CHECK_INT(1, wrenfall_send_report(kWrong[i], NULL, NULL, NULL, &result));
    CHECK_INT(1, result.result);
    CHECK_INT(0, result.http_status);
    CHECK(result.info_url == NULL);
    CHECK_INT(7, wrenfall_discard_report(kWrong[i]));
  }
  CHECK(GetFileAttributesW(L"C:\\windows\\notepad.exe") != INVALID_FILE_ATTRIBUTES);
  /* The store itself is no report either. */
  CHECK_INT(7, wrenfall_discard_report(store));
  CHECK(GetFileAttributesW(wide_store) != INVALID_FILE_ATTRIBUTES);
}

static void test_last_run(int round) {
  wrenfall_last_run run;
  memset(&run, 0x55, sizeof run);
  run.size = 39;
  CHECK_INT(1, wrenfall_get_last_run(NULL));
  CHECK_INT(1, wrenfall_get_last_run(&run));
  CHECK_INT(0x55555555, run.state);
  run.size = 40;
  CHECK_INT(0, wrenfall_get_last_run(&run));
  CHECK_INT(round == 0 ? WRENFALL_RUN_NONE : WRENFALL_RUN_CLEAN, run.state);
  CHECK_INT(0, run.crashes_in_a_row);
}

static void find_function(HMODULE module, const char* name, void* function) {
  const FARPROC found = GetProcAddress(module, name);
  memcpy(function, &found, sizeof found);
}

/* What calls of SetUnhandledExceptionFilter meet: the system's code, or the guard. */
static int is_guarded(void) {
  static const unsigned char kReturnsNull[] = {0x90, 0x33, 0xC0, 0x90, 0xC3};
  const void* function;
  MEMORY_BASIC_INFORMATION memory;
  find_function(GetModuleHandleW(L"kernel32.dll"), "SetUnhandledExceptionFilter", &function);
  CHECK(VirtualQuery(function, &memory, sizeof memory) != 0);
  CHECK_INT(PAGE_EXECUTE_READ, memory.Protect);
  return memcmp(function, kReturnsNull, sizeof kReturnsNull) == 0;
}

/* The guard is on in all rounds but the first, and outlasts them. */
static void test_initialized(int round) {
  char start[96];
  wrenfall_report_list* list;
  wrenfall_options* options = good_options();
  wrenfall_options_set_protect_exception_filter(options, round);
  wrenfall_options_set_environment(options, "test bed \xc3\xbc \xff");
  wrenfall_options_set_user(options, "\xff\xfe");
  CHECK_INT(WRENFALL_OK, wrenfall_init(options));
  CHECK_INT(round != 0, is_guarded());
  snprintf(start, sizeof start, "WrenfallMonitor.exe for pid %lu, store ", GetCurrentProcessId());
  CHECK(strstr(logged, "\n1 Starting ") != NULL && strstr(logged, start) != NULL);
  CHECK(strcmp(wrenfall_get_environment(), "test bed \xc3\xbc \xff") == 0);
  CHECK(strncmp(wrenfall_log_file_path(), store, strlen(store)) == 0);
  CHECK(strcmp(wrenfall_log_file_path() + strlen(store), "\\Wrenfall.log") == 0);
  test_capabilities();
  CHECK_INT(WRENFALL_ERROR_ALREADY_INITIALIZED, wrenfall_init(good_options()));
  list = wrenfall_pending_reports();
  CHECK(list != NULL);
  CHECK_INT(0, wrenfall_report_list_count(list));
  CHECK(wrenfall_report_list_folder(list, 0) == NULL);
  CHECK(wrenfall_report_list_json(list, UINT32_MAX) == NULL);
  wrenfall_report_list_free(list);
  test_last_run(round);
  CHECK_INT(1, wrenfall_set_consent(4));
  CHECK_INT(0, wrenfall_set_consent(WRENFALL_CONSENT_UNKNOWN));
  CHECK_INT(0, wrenfall_ask_pending_reports_async());
  test_wrong_folders();
  CHECK_INT(WRENFALL_OK, wrenfall_post_pending_reports_async());
  wrenfall_shutdown();
  CHECK(!wrenfall_is_initialized());
}

/* Loads the DLL from another folder and under another name, as a plug-in does. The programs beside the application
 * come first: the monitor in that folder is none. The crash filter stays in the DLL's code after shutdown, so the DLL
 * stays loaded. */
static void test_loaded_at_run_time(void) {
  wchar_t dll[MAX_PATH];
  wchar_t path[MAX_PATH * 3];
  HMODULE module;
  wrenfall_options* (*new_options)(const char*, const char*, const char*);
  wrenfall_result (*init)(wrenfall_options*);
  void (*shut_down)(void);
  GetModuleFileNameW(GetModuleHandleW(L"Wrenfall.dll"), dll, MAX_PATH);
  swprintf(path, MAX_PATH * 3, L"%ls\\WrenfallMonitor.exe", wide_store);
  CloseHandle(CreateFileW(path, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, 0, NULL));
  swprintf(path, MAX_PATH * 3, L"%ls\\Plugin.dll", wide_store);
  CHECK(CopyFileW(dll, path, FALSE));
  module = LoadLibraryW(path);
  CHECK(module != NULL);
  find_function(module, "wrenfall_options_new", &new_options);
  find_function(module, "wrenfall_init", &init);
  find_function(module, "wrenfall_shutdown", &shut_down);
  CHECK_INT(WRENFALL_OK, init(new_options("127", "Plug-in", "1.0")));
  shut_down();
  FreeLibrary(module);
  CHECK(GetModuleHandleW(L"Plugin.dll") != NULL);
}

int main(void) {
  int round;
  choose_store();
  test_not_initialized();
  test_null_objects();
  test_failing_inits();
  for (round = 0; round < 3; ++round) test_initialized(round);
  test_loaded_at_run_time();
  printf(failures == 0 ? "ok\n" : "%d failures\n", failures);
  return failures == 0 ? 0 : 1;
}
