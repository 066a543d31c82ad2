/*
 * Wrenfall: crash reporting for native 64-bit Windows applications.
 *
 * Conventions that hold for every function below:
 *
 *  1. Text is NUL-terminated UTF-8 in both directions, paths included. Text that is not valid UTF-8
 * is taken as it is; where it ends up in a path or in a JSON file, each bad sequence is replaced by
 * U+FFFD.
 *  2. The library copies every string it is given. A `const char*` that it returns stays owned by
 * the library, for as long as the function's comment says. What it allocates for the caller is
 * freed by the matching `_free` function, or by wrenfall_free.
 *  3. NULL objects are tolerated: setters on NULL do nothing, free functions ignore NULL.
 *  4. Any thread may call any function, with two exceptions: an options record belongs to the
 * thread that builds it, and no other function may run at the same time as wrenfall_shutdown if it
 * uses a string that the library owns. "Blocks" says what a call waits for; a call without that
 * word returns at once.
 *  5. Failures are wrenfall_result values. Only failures of the operating system's locks and
 * threads, and of listing a directory that breaks off in the middle, leave a function as C++
 * exceptions (std::system_error).
 *  6. wrenfall_abi_version() changes when an existing function or record changes. New functions do
 * not change it.
 *
 * The host ships, in one folder: Wrenfall.dll, WrenfallMonitor.exe, WrenfallReporter.exe and
 * crashpad_handler.exe.
 */
#ifndef WRENFALL_WRENFALL_H_
#define WRENFALL_WRENFALL_H_

#include <stdbool.h>
#include <stdint.h>

#if defined(_WIN32) && defined(WRENFALL_BUILDING_DLL)
#define WRENFALL_API __declspec(dllexport)
#elif defined(_WIN32) && !defined(WRENFALL_STATIC)
#define WRENFALL_API __declspec(dllimport)
#else
#define WRENFALL_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------------------
 * results */

/* What a function that can fail returns: one of the constants below, always 32 bits wide. */
typedef int32_t wrenfall_result;

enum {
  WRENFALL_OK = 0,
  /* A NULL or empty argument that is required, or report data without a required field. */
  WRENFALL_ERROR_INVALID_ARGUMENT = 1,
  /* wrenfall_init while the library is initialized. */
  WRENFALL_ERROR_ALREADY_INITIALIZED = 2,
  /* The library is not initialized (any more). */
  WRENFALL_ERROR_NOT_INITIALIZED = 3,
  /* WrenfallMonitor.exe was not found. */
  WRENFALL_ERROR_MONITOR_NOT_FOUND = 4,
  /* The out-of-process capture handler could not be started. */
  WRENFALL_ERROR_HANDLER_START_FAILED = 5,
  /* WrenfallReporter.exe was not found. */
  WRENFALL_ERROR_REPORTER_NOT_FOUND = 6,
  /* A file could not be written, copied or removed. */
  WRENFALL_ERROR_FILE = 7,
  /* A limit was reached: 64 attributes, 24 attachments. */
  WRENFALL_ERROR_LIMIT_REACHED = 8,
  /* Hang detection is not on. */
  WRENFALL_ERROR_HANG_DETECTION_OFF = 9,
  /* The service gave no HTTP answer at all. */
  WRENFALL_ERROR_TRANSPORT = 10,
  /* The service answered with an unexpected status or with an answer that cannot be used. */
  WRENFALL_ERROR_SERVICE = 11,
  /* The service rejected the report, or asked to slow down. */
  WRENFALL_ERROR_REJECTED = 12
};

/* How serious a log message is. */
typedef int32_t wrenfall_log_level;

enum {
  WRENFALL_LOG_DEBUG = 0,
  WRENFALL_LOG_INFO = 1,
  WRENFALL_LOG_WARN = 2,
  WRENFALL_LOG_ERROR = 3
};

/* Who sends a captured report. */
enum {
  WRENFALL_UPLOAD_DIALOG =
      0, /* The reporter asks the user. Any value not listed here counts as this one. */
  WRENFALL_UPLOAD_QUIET = 1, /* The reporter sends without asking. */
  WRENFALL_UPLOAD_MANUAL = 2 /* The report stays in the store until the host sends it. */
};

/* How much memory a dump holds. Any value not listed here counts as normal. */
enum { WRENFALL_DUMP_NORMAL = 0, WRENFALL_DUMP_HEAP = 1, WRENFALL_DUMP_FULL = 2 };

/* What happens to a process that hangs. Any value not listed here counts as report only. */
enum { WRENFALL_HANG_REPORT = 0, WRENFALL_HANG_REPORT_AND_TERMINATE = 1 };

/* What wrenfall_has_capability can be asked. */
enum {
  WRENFALL_CAPABILITY_CRASH_CAPTURE = 1,
  /* Crashes that never reach an exception filter are captured through Windows Error Reporting. */
  WRENFALL_CAPABILITY_WER_COVERAGE = 2,
  WRENFALL_CAPABILITY_HANG_DETECTION = 3,
  WRENFALL_CAPABILITY_REPORTER = 4,
  WRENFALL_CAPABILITY_ON_DEMAND_CAPTURE = 5,
  WRENFALL_CAPABILITY_LIVE_METADATA = 6,
  WRENFALL_CAPABILITY_ATTACHMENTS = 7,
  WRENFALL_CAPABILITY_OUT_OF_PROCESS_CAPTURE = 8
};

/* ------------------------------------------------------------------------------------------------
 * options */

/* Every start-up setting, gathered before wrenfall_init. Contents are validated by wrenfall_init
 * alone. */
typedef struct wrenfall_options wrenfall_options;

/*
 * Receives each log message of the library, with the user names in paths already replaced by "...".
 * Called on the thread that logs, one call at a time; `message` is valid during the call only. The
 * callback must not call back into the library in a way that logs: that would wait for itself.
 */
typedef void (*wrenfall_log_callback)(wrenfall_log_level level, const char* message,
                                      void* user_data);

/* Carried with the options; the present capture backend never calls it. */
typedef void (*wrenfall_crash_callback)(void* user_data);

/*
 * Creates a record for the service database, application name and application version, each
 * required by wrenfall_init. NULL counts as empty. Owned by the caller until it is passed to
 * wrenfall_init or wrenfall_options_free.
 */
WRENFALL_API wrenfall_options* wrenfall_options_new(const char* database, const char* application,
                                                    const char* version);

/* Frees a record that was not passed to wrenfall_init. */
WRENFALL_API void wrenfall_options_free(wrenfall_options* options);

/* Sets a text; NULL clears it. The default of each is the empty text, which means:
 *   store_dir         <local application data>\Wrenfall\<application>-<version>
 *   monitor_path      WrenfallMonitor.exe beside the host executable, else beside Wrenfall.dll
 *   reporter_path     WrenfallReporter.exe, looked for in the same way
 *   theme_dir         the reporter's own look
 *   environment       a line that describes the operating system, for example "Windows
 * 11 10.0.22631 x64" the others        nothing is sent for them A relative store_dir counts from
 * the current directory of the wrenfall_init call. */
WRENFALL_API void wrenfall_options_set_store_dir(wrenfall_options* options, const char* value);
WRENFALL_API void wrenfall_options_set_monitor_path(wrenfall_options* options, const char* value);
WRENFALL_API void wrenfall_options_set_reporter_path(wrenfall_options* options, const char* value);
WRENFALL_API void wrenfall_options_set_theme_dir(wrenfall_options* options, const char* value);
WRENFALL_API void wrenfall_options_set_key(wrenfall_options* options, const char* value);
WRENFALL_API void wrenfall_options_set_user(wrenfall_options* options, const char* value);
WRENFALL_API void wrenfall_options_set_email(wrenfall_options* options, const char* value);
WRENFALL_API void wrenfall_options_set_user_description(wrenfall_options* options,
                                                        const char* value);
WRENFALL_API void wrenfall_options_set_notes(wrenfall_options* options, const char* value);
WRENFALL_API void wrenfall_options_set_environment(wrenfall_options* options, const char* value);

/*
 * Appends an attribute; a NULL name does nothing, a NULL value counts as empty. wrenfall_init takes
 * over the first 64 distinct names; of one name given twice the later value wins, as long as fewer
 * than 64 names are held by then.
 */
WRENFALL_API void wrenfall_options_set_attribute(wrenfall_options* options, const char* name,
                                                 const char* value);

/* Appends the path of a file that is to travel with each report; NULL does nothing. wrenfall_init
 * takes the first 24. */
WRENFALL_API void wrenfall_options_add_attachment(wrenfall_options* options, const char* path);

/* WRENFALL_UPLOAD_...; default dialog. */
WRENFALL_API void wrenfall_options_set_upload_policy(wrenfall_options* options, uint32_t policy);

/* The crash type under which the service files the reports; default 0, which counts as 1. */
WRENFALL_API void wrenfall_options_set_crash_type_id(wrenfall_options* options,
                                                     uint32_t crash_type_id);

/* WRENFALL_DUMP_...; default normal. */
WRENFALL_API void wrenfall_options_set_dump_type(wrenfall_options* options, uint32_t dump_type);

/* MINIDUMP_TYPE bits (minidumpapiset.h) that the dump is to be written with; default 0, which
 * leaves it to dump_type. */
WRENFALL_API void wrenfall_options_set_minidump_flags(wrenfall_options* options, uint32_t flags);

/* Reserved for backends that act on it; the present one does not. Default 0. */
WRENFALL_API void wrenfall_options_set_crash_completion(wrenfall_options* options,
                                                        uint32_t completion);

/*
 * Turns hang detection on: a thread that gives no sign of life for more than `threshold_ms`
 * milliseconds is hung. 0, and any value above INT32_MAX, leave it off, which is the default.
 * `policy` is WRENFALL_HANG_.... This version of the library stores both and does not watch yet.
 */
WRENFALL_API void wrenfall_options_set_hang_detection(wrenfall_options* options,
                                                      uint32_t threshold_ms, uint32_t policy);

/* Flags: 0 is off, every other value on. Defaults: exception filter protected (no later
 * SetUnhandledExceptionFilter of the process has an effect), support page opened, crash signature
 * derived, previous handlers not chained (reserved: the present backend takes no action on that
 * one). */
WRENFALL_API void wrenfall_options_set_protect_exception_filter(wrenfall_options* options,
                                                                int flag);
WRENFALL_API void wrenfall_options_set_open_support_url(wrenfall_options* options, int flag);
WRENFALL_API void wrenfall_options_set_crash_signature(wrenfall_options* options, int flag);
WRENFALL_API void wrenfall_options_set_chain_previous_signal_handlers(wrenfall_options* options,
                                                                      int flag);

/* Stores a callback and the pointer that it is given; NULL, the default, is none. */
WRENFALL_API void wrenfall_options_set_on_crash(wrenfall_options* options,
                                                wrenfall_crash_callback callback, void* user_data);
WRENFALL_API void wrenfall_options_set_logger(wrenfall_options* options,
                                              wrenfall_log_callback callback, void* user_data);

/* ------------------------------------------------------------------------------------------------
 * lifecycle */

/*
 * Starts the library: creates the store, starts WrenfallMonitor.exe and installs the crash handling
 * of this process. Always takes ownership of `options` and frees them, whatever the result. Blocks
 * until the handler has started. A failed call leaves the library not initialized, and may be
 * repeated at once. After a successful call Wrenfall.dll stays loaded until the process ends.
 *   WRENFALL_OK                         initialized
 *   WRENFALL_ERROR_INVALID_ARGUMENT     NULL options, or an empty database, application or version
 *   WRENFALL_ERROR_ALREADY_INITIALIZED  it was initialized before; nothing changed
 *   WRENFALL_ERROR_MONITOR_NOT_FOUND, WRENFALL_ERROR_REPORTER_NOT_FOUND
 *   WRENFALL_ERROR_HANDLER_START_FAILED the handler did not start; the store may not be writable.
 * The log says more WRENFALL_ERROR_FILE                 no folder could be found for the default
 * store
 */
WRENFALL_API wrenfall_result wrenfall_init(wrenfall_options* options);

/*
 * Ends the library's work. Does nothing when it is not initialized. Uploads that are under way in
 * other threads run to their end. A crash after this call is still captured by the handler of this
 * run.
 */
WRENFALL_API void wrenfall_shutdown(void);

/* Whether the library is initialized. Takes no lock. */
WRENFALL_API bool wrenfall_is_initialized(void);

/* "9.0.0-dev"; static. */
WRENFALL_API const char* wrenfall_version_string(void);

/* 1. See convention 6. */
WRENFALL_API uint32_t wrenfall_abi_version(void);

/* The environment text in force, valid until wrenfall_shutdown; NULL when not initialized. Takes no
 * lock. */
WRENFALL_API const char* wrenfall_get_environment(void);

/* Whether a WRENFALL_CAPABILITY_... is there; false for unknown numbers and when not initialized.
 */
WRENFALL_API bool wrenfall_has_capability(uint32_t capability);

/* Frees a buffer that the library allocated for the caller. */
WRENFALL_API void wrenfall_free(void* buffer);

/* ------------------------------------------------------------------------------------------------
 * reports */

/*
 * The outcome of an upload. The caller provides the record and sets `size` to
 * sizeof(wrenfall_upload_result); a record with a smaller size is left untouched. `info_url` is to
 * be released with wrenfall_upload_result_free.
 */
typedef struct wrenfall_upload_result {
  uint32_t size;
  wrenfall_result result;
  int32_t http_status; /* The last HTTP status, 0 when there was no answer. */
  int64_t crash_id;    /* The ids that the service gave, 0 when it gave none. */
  int64_t stack_key_id;
  char* info_url; /* The address of the support page, NULL when there is none. */
} wrenfall_upload_result;

#ifdef __cplusplus
static_assert(sizeof(wrenfall_upload_result) == 40, "the record's layout is part of the interface");
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
_Static_assert(sizeof(wrenfall_upload_result) == 40,
               "the record's layout is part of the interface");
#else
typedef char wrenfall_upload_result_has_40_bytes[sizeof(wrenfall_upload_result) == 40 ? 1 : -1];
#endif

/* Frees `info_url` and sets it to NULL; the record itself stays the caller's. Works without
 * wrenfall_init. */
WRENFALL_API void wrenfall_upload_result_free(wrenfall_upload_result* result);

/*
 * Takes a report of the running process, which goes on afterwards. Blocks until the dump is on
 * disk, or the handler is found dead; the monitor makes the report folder from it a moment later,
 * and sends it by the upload policy. WRENFALL_OK, WRENFALL_ERROR_NOT_INITIALIZED
 */
WRENFALL_API wrenfall_result wrenfall_capture_report(void);

/*
 * Uploads one report folder and applies the retry rule: the folder is deleted after success and
 * after every failure but HTTP 500, 502, 503 and 504, which keep it for two more attempts. In
 * particular a service that cannot be reached at all costs the report: a host that must not lose
 * reports sends when it knows that it is online. `user`, `email` and `description`, where not NULL,
 * replace those of the report first; an empty text clears. `result`, where not NULL, receives the
 * outcome. Blocks for the whole upload (connecting up to 60 s, each single send or receive up to
 * 300 s). No two calls may send the same folder at the same time. A folder that holds no report is
 * left as it is. WRENFALL_OK, WRENFALL_ERROR_NOT_INITIALIZED, WRENFALL_ERROR_INVALID_ARGUMENT (also
 * a report without its required data), WRENFALL_ERROR_FILE, WRENFALL_ERROR_TRANSPORT,
 * WRENFALL_ERROR_SERVICE, WRENFALL_ERROR_REJECTED
 */
WRENFALL_API wrenfall_result wrenfall_send_report(const char* report_folder, const char* user,
                                                  const char* email, const char* description,
                                                  wrenfall_upload_result* result);

/*
 * Deletes a report folder with all its files. Only a folder that lies directly in the store or that
 * holds a report is deleted. WRENFALL_OK, WRENFALL_ERROR_NOT_INITIALIZED,
 * WRENFALL_ERROR_INVALID_ARGUMENT, WRENFALL_ERROR_FILE  nothing was there, it is no report folder,
 * or a file could not be removed
 */
WRENFALL_API wrenfall_result wrenfall_discard_report(const char* report_folder);

/*
 * Sends every pending report of the store, oldest first, on a thread of its own, like
 * wrenfall_send_report does. Returns at once; the outcome is in each report's log. After
 * wrenfall_shutdown the upload that is under way ends, and no further one starts. WRENFALL_OK,
 * WRENFALL_ERROR_NOT_INITIALIZED
 */
WRENFALL_API wrenfall_result wrenfall_post_pending_reports_async(void);

/* The path of the log file; NULL when not initialized. Valid until the next call of this function:
 * calls of several threads at once share one buffer. */
WRENFALL_API const char* wrenfall_log_file_path(void);

/* The pending reports of the store at one moment. */
typedef struct wrenfall_report_list wrenfall_report_list;

/*
 * Lists the reports that wait to be sent, oldest first: folders without a result that no other
 * running process owns. Reads the store; blocks for that. Returns a list to be freed with
 * wrenfall_report_list_free, or NULL when the library is not initialized. The list may be empty.
 */
WRENFALL_API wrenfall_report_list* wrenfall_pending_reports(void);

/* The number of entries; 0 for NULL. */
WRENFALL_API uint32_t wrenfall_report_list_count(const wrenfall_report_list* list);

/* The folder of an entry, and the text of its WrenfallCrashData.json as it was stored; owned by the
 * list. NULL when the index is not below the count. */
WRENFALL_API const char* wrenfall_report_list_folder(const wrenfall_report_list* list,
                                                     uint32_t index);
WRENFALL_API const char* wrenfall_report_list_json(const wrenfall_report_list* list,
                                                   uint32_t index);

WRENFALL_API void wrenfall_report_list_free(wrenfall_report_list* list);

#ifdef __cplusplus
}
#endif

#endif /* WRENFALL_WRENFALL_H_ */
