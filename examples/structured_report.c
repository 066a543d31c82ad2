/*
 * A host that makes a report of itself without a dump: walks its own stack, lists the modules it
 * has loaded, and posts both as a structured report.
 *
 *   structured_report [--json] [--manual] [--store DIR]
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wrenfall/wrenfall.h>
/* After the headers above, which need nothing of it. */
#include <windows.h>

#include <psapi.h>

#include "utf8_arguments.h"

enum { MAX_FRAMES = 62, MAX_MODULES = 256 };

static void module_name(HMODULE module, char* path, int path_size) {
  wchar_t wide[MAX_PATH];
  wide[0] = L'\0';
  path[0] = '\0';
  if (GetModuleFileNameW(module, wide, MAX_PATH) != 0) {
    WideCharToMultiByte(CP_UTF8, 0, wide, -1, path, path_size, NULL, NULL);
  }
}

static const char* file_name(const char* path) {
  const char* const slash = strrchr(path, '\\');
  return slash == NULL ? path : slash + 1;
}

/* Names and lines need symbols, which are not shipped; the service finds them by module and
 * address. */
static void add_this_thread(wrenfall_report* report, const char* name, int crashing) {
  void* addresses[MAX_FRAMES];
  const USHORT count = CaptureStackBackTrace(1, MAX_FRAMES, addresses, NULL);
  const int32_t thread = wrenfall_report_add_thread(report, name, crashing);
  USHORT i;
  for (i = 0; i < count && addresses[i] != NULL; ++i) {
    char path[MAX_PATH * 3];
    char function[32];
    HMODULE module = NULL;
    GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        (LPCWSTR)addresses[i], &module);
    module_name(module, path, sizeof path);
    snprintf(function, sizeof function, "+0x%llx",
             (unsigned long long)((char*)addresses[i] - (char*)module));
    wrenfall_report_add_frame(report, thread, function, "", 0, file_name(path),
                              (uint64_t)(ULONG_PTR)addresses[i]);
  }
}

static void add_modules(wrenfall_report* report) {
  HMODULE modules[MAX_MODULES];
  DWORD needed = 0;
  DWORD i;
  if (!EnumProcessModules(GetCurrentProcess(), modules, sizeof modules, &needed)) return;
  for (i = 0; i < needed / sizeof modules[0] && i < MAX_MODULES; ++i) {
    char path[MAX_PATH * 3];
    MODULEINFO info;
    module_name(modules[i], path, sizeof path);
    if (!GetModuleInformation(GetCurrentProcess(), modules[i], &info, sizeof info)) continue;
    wrenfall_report_add_module(report, file_name(path), path, (uint64_t)(ULONG_PTR)info.lpBaseOfDll,
                               info.SizeOfImage, "", "");
  }
}

/* A second thread that adds itself, so that the report has more than one. */
static DWORD WINAPI add_worker(void* report) {
  add_this_thread(report, "worker", 0);
  return 0;
}

static wrenfall_report* make_report(uint32_t format) {
  wrenfall_report* const report = wrenfall_report_new(format);
  HANDLE worker;
  wrenfall_report_set_platform(report, "windows", wrenfall_get_environment());
  wrenfall_report_set_exception(report, "0xE0000001", "An invariant of the program does not hold.");
  wrenfall_report_add_register(report, "rip", "0000000000000000");
  add_this_thread(report, "main", 1);
  worker = CreateThread(NULL, 0, add_worker, report, 0, NULL);
  if (worker != NULL) {
    WaitForSingleObject(worker, INFINITE);
    CloseHandle(worker);
  }
  add_modules(report);
  return report;
}

int main(void) {
  int argc = 0;
  char** argv = utf8_arguments(&argc);
  wrenfall_options* const options = wrenfall_options_new("127", "Structured Report", "1.0");
  uint32_t format = WRENFALL_REPORT_XML;
  wrenfall_report* report;
  wrenfall_upload_result outcome;
  wrenfall_result result;
  int i;
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_QUIET);
  /* The recommended setting: see "Offline, and how much is kept" in the integration guide. */
  wrenfall_options_set_retention(options, 100, 30, 500ull * 1024 * 1024);
  wrenfall_options_set_resend(options, 1);
  wrenfall_options_set_report_limit(options, 10, 600);
  for (i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--json") == 0) {
      format = WRENFALL_REPORT_JSON;
    } else if (strcmp(argv[i], "--store") == 0 && i + 1 < argc) {
      wrenfall_options_set_store_dir(options, argv[++i]);
    } else if (strcmp(argv[i], "--manual") == 0) {
      wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
    } else {
      wrenfall_options_free(options);
      fputs("usage: structured_report [--json] [--manual] [--store DIR]\n", stderr);
      return 2;
    }
  }
  result = wrenfall_init(options);
  if (result != WRENFALL_OK) {
    fprintf(stderr, "structured_report: wrenfall_init gave %d\n", (int)result);
    return 1;
  }
  memset(&outcome, 0, sizeof outcome);
  outcome.size = sizeof outcome;
  report = make_report(format);
  result = wrenfall_report_post(report, &outcome);
  wrenfall_report_free(report);
  printf("result %d, HTTP status %d, crash %lld, stack key %lld\n", (int)result,
         (int)outcome.http_status, (long long)outcome.crash_id, (long long)outcome.stack_key_id);
  wrenfall_upload_result_free(&outcome);
  wrenfall_shutdown();
  return result == WRENFALL_OK ? 0 : 1;
}
