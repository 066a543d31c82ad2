/*
 * Wrenfall: crash reporting for native 64-bit Windows applications.
 *
 * Conventions that hold for every function below:
 *
 *  1. Text is NUL-terminated UTF-8 in both directions, paths included. Text that is not valid
 *     UTF-8 is taken as it is; where it ends up in a path or in a JSON file, each bad sequence is
 *     replaced by U+FFFD.
 *  2. The library copies every string it is given. A `const char*` that it returns stays owned by
 *     the library, for as long as the function's comment says. What it allocates for the caller is
 *     freed by the matching `_free` function, or by wrenfall_free.
 *  3. NULL objects are tolerated: setters on NULL do nothing, free functions ignore NULL.
 *  4. Any thread may call any function, with two exceptions: an options record belongs to the
 *     thread that builds it, and a string that the library owns must not be in use when another
 *     thread calls wrenfall_shutdown. "Blocks" says what a call waits for; a call without that word
 *     returns at once.
 *  5. Failures are wrenfall_result values; lack of memory is WRENFALL_ERROR_FILE where the
 *     function's comment names no other. Only failures of the operating system's locks and threads,
 *     and of listing a directory that breaks off in the middle, leave a function as C++ exceptions
 *     (std::system_error).
 *  6. wrenfall_abi_version() changes when an existing function or record changes. New functions do
 *     not change it.
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
 * callback must not throw, and must call no function of the library but wrenfall_is_initialized,
 * wrenfall_version_string, wrenfall_abi_version, wrenfall_get_environment and
 * wrenfall_log_file_path: others may wait for the thread that is logging.
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
 *   environment       a line about the operating system, for example "Windows 11 10.0.22631 x64"
 *   the others        nothing is sent for them
 * A relative store_dir counts from the current directory of the wrenfall_init call. */
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
 * milliseconds is hung. See "hangs" below. 0, and any value above INT32_MAX, leave it off, which is
 * the default. `policy` is WRENFALL_HANG_....
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
 * until the handler has started (with the stand-in for Crashpad two minutes at the most). A failed
 * call leaves the library not initialized, and may be repeated at once. After a successful call
 * Wrenfall.dll stays loaded until the process ends.
 *   WRENFALL_OK                         initialized
 *   WRENFALL_ERROR_INVALID_ARGUMENT     NULL options, or an empty database, application or version
 *   WRENFALL_ERROR_ALREADY_INITIALIZED  it was initialized before; nothing changed
 *   WRENFALL_ERROR_MONITOR_NOT_FOUND, WRENFALL_ERROR_REPORTER_NOT_FOUND
 *   WRENFALL_ERROR_HANDLER_START_FAILED the handler did not start, or there was not enough memory;
 *                                       the store may not be writable. The log says more
 *   WRENFALL_ERROR_FILE                 no folder could be found for the default store
 */
WRENFALL_API wrenfall_result wrenfall_init(wrenfall_options* options);

/*
 * Ends the library's work. Does nothing when it is not initialized. Waits for a hang report that is
 * being taken, which has the bound of wrenfall_capture_report, but neither for a tick of the hang
 * detection nor for uploads that are under way in other threads: those run to their end. The
 * logging callback is not called any more after it. A crash after this call is still captured by
 * the handler of this run.
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
 * run-time metadata */

/*
 * What is set here travels with every report from then on, with a crash at the very next moment
 * too. Values that were set while a dump is being written are in the next one. What is set is good
 * until wrenfall_shutdown: a later wrenfall_init starts again from its options. NULL counts as
 * empty. Blocks while another thread posts feedback or an AddressSanitizer text, see below.
 *
 * In dumps, and in the reports made of them, a value is cut silently after 4096 bytes, notes and
 * the description after 20480; an attribute's name, with "attr." before it, after 255 bytes. A dump
 * holds all values set here, up to the 64 attributes, however many names were used before: the
 * capture reads at most 200 values, and the library keeps below that.
 *
 *   WRENFALL_OK, WRENFALL_ERROR_NOT_INITIALIZED
 */
WRENFALL_API wrenfall_result wrenfall_set_key(const char* value);
WRENFALL_API wrenfall_result wrenfall_set_user(const char* value);
WRENFALL_API wrenfall_result wrenfall_set_email(const char* value);
WRENFALL_API wrenfall_result wrenfall_set_user_description(const char* value);
WRENFALL_API wrenfall_result wrenfall_set_notes(const char* value);

/* The same for the environment; NULL and the empty text restore the line that describes the
 * operating system. Each distinct text stays in memory until wrenfall_shutdown. */
WRENFALL_API wrenfall_result wrenfall_set_environment(const char* value);

/*
 * Sets a named attribute, or removes it when `value` is NULL.
 *   WRENFALL_OK, WRENFALL_ERROR_NOT_INITIALIZED,
 *   WRENFALL_ERROR_INVALID_ARGUMENT  NULL or empty name
 *   WRENFALL_ERROR_LIMIT_REACHED     64 other names are held; nothing changed
 */
WRENFALL_API wrenfall_result wrenfall_set_attribute(const char* name, const char* value);

/*
 * Turns quiet sending on or off for the reports from now on. Off means the dialog again, also in a
 * library that was started quiet; one that was started with WRENFALL_UPLOAD_MANUAL goes back to
 * manual. Does nothing when not initialized.
 */
WRENFALL_API void wrenfall_set_quiet_mode(int flag);

/*
 * Adds or removes a file that is to travel with each report of a crash, a hang or a capture. It is
 * copied when the report is made, as it is then. Paths are compared byte for byte; adding one twice
 * and removing one that is not there change nothing. Blocks for the disk.
 *   WRENFALL_OK, WRENFALL_ERROR_NOT_INITIALIZED
 *   WRENFALL_ERROR_INVALID_ARGUMENT  NULL path; also an empty one to add
 *   WRENFALL_ERROR_LIMIT_REACHED     24 paths are held
 *   WRENFALL_ERROR_FILE              the list could not be written for the monitor; it is kept here
 *                                    all the same
 */
WRENFALL_API wrenfall_result wrenfall_add_attachment(const char* path);
WRENFALL_API wrenfall_result wrenfall_remove_attachment(const char* path);

/* ------------------------------------------------------------------------------------------------
 * hangs */

/*
 * With a threshold set in the options a thread of the library looks, every quarter of the threshold
 * but no more often than every 100 ms, for threads that have given no sign of life for more than
 * the threshold:
 *
 *  - "main": every wrenfall_heartbeat, of whichever thread, is a sign of its life. So is any
 *    visible top-level window of the process that answers a message within 50 ms: a program whose
 *    windows are served needs no heartbeats, and "main" is never reported while one answers. A
 *    program without a visible window relies on heartbeats alone: call wrenfall_heartbeat in the
 *    main loop.
 *  - threads that called wrenfall_watch_thread: their own heartbeats. Such a heartbeat refreshes
 *    "main" too, so a program without a window that watches threads notices a hang of its main
 *    thread only once they are all silent.
 *
 * A hang becomes a report of kind "hang", once, until the thread's next sign of life; the process
 * is stopped while the dump is written and goes on. The wait for that dump has the bound of
 * wrenfall_capture_report. With WRENFALL_HANG_REPORT_AND_TERMINATE the monitor then ends it. After
 * a report there is no other for five minutes (the cool-down), whichever thread hangs.
 *
 * The threshold should be well above the longest pause that is normal, and above what a user puts
 * up with: 5000 to 30000 ms for a program with windows. A debugger that stops the process looks
 * like a hang, and so may, of watched threads and of a program without windows, a standby of the
 * system or a capture that stopped all threads for longer than the threshold: they are reported,
 * and with the policy to terminate the process is ended. The cost is one wake-up a tick, a message
 * to each visible window, and a lock and a clock read a heartbeat.
 */

/* A sign of life, see above. Does nothing when the library is not initialized or hang detection is
 * off. */
WRENFALL_API void wrenfall_heartbeat(void);

/*
 * Watches the calling thread under a name (NULL counts as empty) from now on, or gives it a new
 * name. A watched thread unwatches itself before it ends.
 *   WRENFALL_OK, WRENFALL_ERROR_NOT_INITIALIZED, WRENFALL_ERROR_HANG_DETECTION_OFF
 */
WRENFALL_API wrenfall_result wrenfall_watch_thread(const char* name);

/* Ends the watch of the calling thread; does nothing when there is none. */
WRENFALL_API void wrenfall_unwatch_thread(void);

/* ------------------------------------------------------------------------------------------------
 * reports */

/*
 * The outcome of an upload. The caller provides the record and sets `size`, and need set no more,
 * to sizeof(wrenfall_upload_result): each call fills all of it, whatever it returns. A record with
 * a smaller size is left untouched. `info_url` is to be released with wrenfall_upload_result_free.
 */
typedef struct wrenfall_upload_result {
  uint32_t size;          /* sizeof(wrenfall_upload_result), set by the caller. */
  wrenfall_result result; /* What the call that filled the record returned. */
  int32_t http_status;    /* The last HTTP status, 0 when there was no answer. */
  int64_t crash_id;       /* The report's id at the service, 0 when it gave none. */
  int64_t stack_key_id;   /* The id of the group of reports with the same stack, or 0. */
  char* info_url;         /* The address of the support page, NULL when there is none. */
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
 * Takes a report of the running process, which goes on afterwards. Blocks until the handler has
 * written the dump; several calls at once take their turns. The monitor makes the report folder
 * from the dump a moment later, and sends it by the upload policy.
 *
 * The wait ends when the handler or the monitor does, and after two minutes without an answer (125
 * seconds at the most). The call then fails, and so does every later one, at once: until the
 * library is shut down and initialized again, or the slow handler has answered after all.
 *   WRENFALL_OK, also where the handler could not write the dump (a full disk): the log tells
 *   WRENFALL_ERROR_NOT_INITIALIZED
 *   WRENFALL_ERROR_HANDLER_START_FAILED  the handler or the monitor has ended or does not answer,
 *                                        as the log says, or there was not enough memory
 */
WRENFALL_API wrenfall_result wrenfall_capture_report(void);

/*
 * Uploads one report folder and applies the retry rule: the folder is deleted after success and
 * after every failure but HTTP 500, 502, 503 and 504, which keep it for two more attempts. In
 * particular a service that cannot be reached at all costs the report: a host that must not lose
 * reports sends when it knows that it is online. A folder that is kept is no pending report any
 * more: only this call, or a person with wrenfallctl, sends it again.
 *
 * `user`, `email` and `description`, where not NULL, replace those of the report first; an empty
 * text clears. `result`, where not NULL, receives the outcome. A folder that holds no record, or
 * whose record is damaged or cannot be opened just now, is left as it is; so is one whose upload
 * breaks off for lack of memory or because a folder could not be listed.
 *
 * Blocks for the whole upload (connecting up to 60 s, each single send or receive up to 300 s), and
 * before that for as long as another thread or process sends or discards the same folder.
 *   WRENFALL_OK, WRENFALL_ERROR_NOT_INITIALIZED
 *   WRENFALL_ERROR_INVALID_ARGUMENT  NULL or empty folder, no report or a damaged record there, or
 *                                    one without the data that the service requires
 *   WRENFALL_ERROR_FILE              the report could not be read or packed
 *   WRENFALL_ERROR_TRANSPORT, WRENFALL_ERROR_SERVICE, WRENFALL_ERROR_REJECTED
 */
WRENFALL_API wrenfall_result wrenfall_send_report(const char* report_folder, const char* user,
                                                  const char* email, const char* description,
                                                  wrenfall_upload_result* result);

/*
 * Deletes a report folder with all its files. Only a folder that lies directly in the store or that
 * holds a report is deleted.
 *   WRENFALL_OK, WRENFALL_ERROR_NOT_INITIALIZED
 *   WRENFALL_ERROR_INVALID_ARGUMENT  NULL or empty folder
 *   WRENFALL_ERROR_FILE              nothing was there, it is no report folder, it is just being
 *                                    sent, or a file could not be removed; then it is not pending
 *                                    any more all the same
 */
WRENFALL_API wrenfall_result wrenfall_discard_report(const char* report_folder);

/*
 * Sends every pending report of the store, oldest first, on a thread of its own, like
 * wrenfall_send_report does. Returns at once; the outcome is in each report's log. After
 * wrenfall_shutdown the upload that is under way ends, and no further one starts.
 *   WRENFALL_OK, WRENFALL_ERROR_NOT_INITIALIZED
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

/* Frees a list with everything that it owns. */
WRENFALL_API void wrenfall_report_list_free(wrenfall_report_list* list);

/* ------------------------------------------------------------------------------------------------
 * reports of the host's own making */

/*
 * Three kinds of report that the host makes itself: a structured report of crash facts that it has
 * collected, user feedback, and the text of an AddressSanitizer report. Posting one writes a report
 * folder with the facts of wrenfall_options and of the setters above, and treats it by the upload
 * policy of the options: with WRENFALL_UPLOAD_MANUAL it waits as a pending report, else it is sent
 * at once, on the calling thread, with the retry rule of wrenfall_send_report.
 *
 * Texts that are not UTF-8 lose nothing but their bad sequences, each of which becomes U+FFFD in
 * JSON; XML and the AddressSanitizer text keep the bytes as they are. Attachments are copied into
 * the report folder; of two with the same file name the later one counts, and one that cannot be
 * copied costs a warning in the log, not the report.
 *
 * The posting calls block for the whole upload. wrenfall_post_feedback and
 * wrenfall_post_asan_report hold the lock of the run-time metadata for that long: they wait for
 * each other, and the setters above and wrenfall_report_post, which reads what was set, wait for
 * them. wrenfall_capture_report, wrenfall_heartbeat and wrenfall_shutdown do not wait.
 *
 * `result`, where not NULL and large enough, receives the outcome; with WRENFALL_UPLOAD_MANUAL it
 * is all zero. The results are those of wrenfall_send_report, and
 *   WRENFALL_ERROR_NOT_INITIALIZED
 *   WRENFALL_ERROR_FILE  the report could not be written; nothing stays in the store
 */

/* The formats of a structured report. Any value not listed here counts as XML. */
enum { WRENFALL_REPORT_XML = 0, WRENFALL_REPORT_JSON = 1 };

/* A structured report while it is built, by one thread at a time. Works without wrenfall_init. */
typedef struct wrenfall_report wrenfall_report;

/* An empty report in one of the formats, to be freed with wrenfall_report_free; NULL when there is
 * no memory. Adding to NULL does nothing. NULL texts count as empty. */
WRENFALL_API wrenfall_report* wrenfall_report_new(uint32_t format);
WRENFALL_API void wrenfall_report_free(wrenfall_report* report);

/* What the report says of the machine and of the exception; each call replaces the one before. */
WRENFALL_API void wrenfall_report_set_platform(wrenfall_report* report, const char* platform,
                                               const char* os);
WRENFALL_API void wrenfall_report_set_exception(wrenfall_report* report, const char* code,
                                                const char* explanation);

/* In XML the name becomes the name of an element: anything but a letter followed by letters and
 * digits makes a document that strict parsers refuse. In JSON the last register of a name counts.
 * */
WRENFALL_API void wrenfall_report_add_register(wrenfall_report* report, const char* name,
                                               const char* value);

/* Returns the thread's index, counted from 0; -1 for a NULL report and when there is no memory.
 * `crashing` is a flag; the first thread that is marked so is the one that crashed. */
WRENFALL_API int32_t wrenfall_report_add_thread(wrenfall_report* report, const char* name,
                                                int32_t crashing);

/* Adds a frame to a thread, the innermost first; nothing for an index that
 * wrenfall_report_add_thread has not returned. `line` is read as signed; an `address` of 0 is
 * unknown. */
WRENFALL_API void wrenfall_report_add_frame(wrenfall_report* report, int32_t thread,
                                            const char* function, const char* file, uint32_t line,
                                            const char* module, uint64_t address);

/* `base` is the address that the module is loaded at, `size` its size in memory in bytes. */
WRENFALL_API void wrenfall_report_add_module(wrenfall_report* report, const char* name,
                                             const char* path, uint64_t base, uint64_t size,
                                             const char* file_version, const char* product_version);

/* The path of a file that is to travel with the report; NULL does nothing. */
WRENFALL_API void wrenfall_report_add_attachment(wrenfall_report* report, const char* path);

/* Posts the report, which stays the caller's and may be posted again.
 *   WRENFALL_ERROR_INVALID_ARGUMENT  NULL report */
WRENFALL_API wrenfall_result wrenfall_report_post(const wrenfall_report* report,
                                                  wrenfall_upload_result* result);

/* Posts user feedback. NULL texts count as empty; `attachments` is an array of `attachment_count`
 * paths and may be NULL, as may its entries. */
WRENFALL_API wrenfall_result wrenfall_post_feedback(const char* title, const char* description,
                                                    const char* const* attachments,
                                                    uint32_t attachment_count,
                                                    wrenfall_upload_result* result);

/* Posts the text of an AddressSanitizer report.
 *   WRENFALL_ERROR_INVALID_ARGUMENT  NULL text */
WRENFALL_API wrenfall_result wrenfall_post_asan_report(const char* text,
                                                       wrenfall_upload_result* result);

#ifdef __cplusplus
}
#endif

#endif /* WRENFALL_WRENFALL_H_ */
