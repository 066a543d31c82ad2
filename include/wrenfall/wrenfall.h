/**
 * @file
 * Wrenfall: crash reporting for native 64-bit Windows applications.
 *
 * @code{.c}
 * #include <wrenfall/wrenfall.h>
 *
 * int main(void) {
 *   wrenfall_options* options = wrenfall_options_new("my-database", "My Application", "1.0");
 *   wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
 *   wrenfall_result result = wrenfall_init(options);  // takes the options, whatever the result
 *   if (result == WRENFALL_OK) wrenfall_post_pending_reports_async();
 *   run_the_application();
 *   wrenfall_shutdown();
 * }
 * @endcode
 *
 * The host ships, in one folder: Wrenfall.dll, WrenfallMonitor.exe, WrenfallReporter.exe and
 * crashpad_handler.exe.
 *
 * Each comment says, in this order: what the function does, whether it blocks, which threads may
 * call it, who owns what, and what it returns. Where a comment leaves one of these out, the
 * introduction of its section says it, or these conventions do:
 *
 *  1. Text is NUL-terminated UTF-8 in both directions, paths included. Text that is not valid UTF-8
 *     is accepted; where it becomes part of a path or of a JSON file, each invalid sequence is
 *     replaced by U+FFFD.
 *  2. Blocking: a function does not block. It may wait for short locks of the library, and for the
 *     writing of a log line, which includes the host's logging callback.
 *  3. Threads: any thread may call any function, with these exceptions. An options record and a
 *     structured report belong to one thread at a time. A string that the library owns must not be
 *     in use when another thread ends its life, by wrenfall_shutdown for example. From DllMain,
 *     call nothing but wrenfall_is_initialized, wrenfall_version_string, wrenfall_abi_version and
 *     wrenfall_get_environment: the others may wait for threads and processes that cannot go on
 *     while the loader's lock is held.
 *  4. Ownership: the library copies every string that it is given. A `const char*` that it returns
 *     belongs to the library, and is valid for as long as the function's comment says. What it
 *     allocates for the caller is freed by the matching `_free` function. NULL objects are
 *     tolerated: setters on NULL do nothing, free functions ignore NULL.
 *  5. Results: failures are wrenfall_result values. Lack of memory is WRENFALL_ERROR_FILE unless
 *     the comment names another result. A setter that returns nothing drops the value when there is
 *     no memory for it.
 *
 * C++ exceptions can leave a function in two cases, always as std::system_error or as a class
 * derived from it. First, when the operating system fails to provide a lock or a thread: in
 * practice in wrenfall_init with hang detection or resending, in
 * wrenfall_post_pending_reports_async and in wrenfall_ask_pending_reports_async.
 * Second, when the listing of a folder breaks off in the middle: in wrenfall_init and
 * wrenfall_pending_reports. A host written in C cannot catch them; the process then ends, as with
 * any exception that nobody catches.
 *
 * wrenfall_abi_version() changes when an existing function or record changes. New functions do not
 * change it.
 */
#ifndef WRENFALL_WRENFALL_H_
#define WRENFALL_WRENFALL_H_

#include <stdbool.h>
#include <stdint.h>
#ifdef _WIN32
/* It makes a macro of exception_code, which is also a member of wrenfall_last_run. Included here, before
 * the member is declared, it lets the name mean the same in all of a file, whatever includes it later. */
#include <excpt.h>
#endif

/** Marks the functions that Wrenfall.dll exports. */
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

/** What a function that can fail returns: one of the constants below, always 32 bits wide. */
typedef int32_t wrenfall_result;

/** The values of wrenfall_result. */
enum {
  /** Success. */
  WRENFALL_OK = 0,
  /** A required argument is NULL or empty, or report data lacks a required field. */
  WRENFALL_ERROR_INVALID_ARGUMENT = 1,
  /** wrenfall_init was called while the library is initialized. */
  WRENFALL_ERROR_ALREADY_INITIALIZED = 2,
  /** The library is not initialized, or not any more. */
  WRENFALL_ERROR_NOT_INITIALIZED = 3,
  /** WrenfallMonitor.exe was not found. */
  WRENFALL_ERROR_MONITOR_NOT_FOUND = 4,
  /** The capture handler did not start, has ended or does not answer. */
  WRENFALL_ERROR_HANDLER_START_FAILED = 5,
  /** WrenfallReporter.exe was not found. */
  WRENFALL_ERROR_REPORTER_NOT_FOUND = 6,
  /** A file could not be read, written, copied or removed; also lack of memory. */
  WRENFALL_ERROR_FILE = 7,
  /** A limit was reached: 64 attributes, 24 attachments, or the host's own limit of reports. */
  WRENFALL_ERROR_LIMIT_REACHED = 8,
  /** Hang detection is not on. */
  WRENFALL_ERROR_HANG_DETECTION_OFF = 9,
  /** The service gave no HTTP answer at all. */
  WRENFALL_ERROR_TRANSPORT = 10,
  /** The service answered with an unexpected status, or with an answer that cannot be used. */
  WRENFALL_ERROR_SERVICE = 11,
  /** The service rejected the report, or asked to slow down. */
  WRENFALL_ERROR_REJECTED = 12,
  /** The user has not agreed to sending, see wrenfall_set_consent. */
  WRENFALL_ERROR_NO_CONSENT = 13
};

/* ------------------------------------------------------------------------------------------------
 * options */

/**
 * @name Options
 *
 * Every start-up setting, gathered in a record before wrenfall_init. The setters only store what
 * they are given; wrenfall_init checks it.
 *
 * Blocking: none of these functions blocks, and none needs wrenfall_init.
 *
 * Threads: a record belongs to the thread that builds it.
 *
 * Ownership: the caller owns the record until it passes it to wrenfall_init or
 * wrenfall_options_free. The library copies all texts.
 *
 * Results: the setters return nothing. They do nothing for a NULL record, and leave the setting as
 * it was when there is no memory for its new value.
 *
 * A relative path counts from the current directory of the wrenfall_init call: the companions start
 * there. Give absolute paths where the host changes its directory, or where a later run may have to
 * finish a report of this one.
 *
 * @{
 */

/** A record of start-up settings. */
typedef struct wrenfall_options wrenfall_options;

/** How serious a log message is: one of the constants below. */
typedef int32_t wrenfall_log_level;

/** The values of wrenfall_log_level. */
enum {
  WRENFALL_LOG_DEBUG = 0, /**< Not used by this version. */
  WRENFALL_LOG_INFO = 1,  /**< What normally happens. */
  WRENFALL_LOG_WARN = 2,  /**< Something is missing, but the work goes on. */
  WRENFALL_LOG_ERROR = 3  /**< Something failed. */
};

/** Who sends a captured report. A value that is not listed here counts as dialog. */
enum {
  WRENFALL_UPLOAD_DIALOG = 0, /**< The reporter asks the user; in session 0 as quiet. */
  WRENFALL_UPLOAD_QUIET = 1,  /**< The reporter sends without asking. */
  WRENFALL_UPLOAD_MANUAL = 2  /**< The report stays in the store until the host sends it. */
};

/** How much memory a dump holds. A value that is not listed here counts as normal. */
enum {
  WRENFALL_DUMP_NORMAL = 0, /**< Stacks, and what is needed to read them. */
  WRENFALL_DUMP_HEAP = 1,   /**< Also the private memory that the process can write to. */
  WRENFALL_DUMP_FULL = 2    /**< All memory of the process. */
};

/** What happens to a process that hangs. A value that is not listed here counts as report only. */
enum {
  WRENFALL_HANG_REPORT = 0,              /**< The hang is reported; the process goes on. */
  WRENFALL_HANG_REPORT_AND_TERMINATE = 1 /**< Once the report is complete, the process is ended. */
};

/**
 * Receives each log message of the library, with the user names in paths already replaced by "...".
 *
 * Blocking: the thread that logs waits for the callback, and so does every other thread that wants
 * to log meanwhile.
 *
 * Threads: called on the thread that logs, one call at a time, and not any more once
 * wrenfall_shutdown has returned. The callback must call no function of the library but
 * wrenfall_is_initialized, wrenfall_version_string, wrenfall_abi_version, wrenfall_get_environment
 * and wrenfall_log_file_path: others may wait for the thread that is logging. It must not throw.
 *
 * Ownership: `message` is valid during the call only.
 */
typedef void (*wrenfall_log_callback)(wrenfall_log_level level, const char* message,
                                      void* user_data);

/**
 * Creates a record for the service database, application name and application version, each of
 * which wrenfall_init requires. NULL counts as empty.
 *
 * Ownership: the caller's, until it is passed to wrenfall_init or wrenfall_options_free.
 *
 * @return the record; NULL when there is no memory. Passing that NULL on to the setters and to
 * wrenfall_init is harmless. When only the memory for a text is missing, that text is empty.
 */
WRENFALL_API wrenfall_options* wrenfall_options_new(const char* database, const char* application,
                                                    const char* version);

/** Frees a record that was not passed to wrenfall_init. */
WRENFALL_API void wrenfall_options_free(wrenfall_options* options);

/** The folder for reports and the log. NULL or empty, the default, is
 * `<local application data>\Wrenfall\<application>-<version>`. Blanks and dots at the end of either
 * are dropped, as Windows does with the last name of a path. */
WRENFALL_API void wrenfall_options_set_store_dir(wrenfall_options* options, const char* value);

/** The path of WrenfallMonitor.exe. NULL or empty, the default, looks for it beside the host's
 * executable, then beside Wrenfall.dll. */
WRENFALL_API void wrenfall_options_set_monitor_path(wrenfall_options* options, const char* value);

/** The path of WrenfallReporter.exe. NULL or empty, the default, looks for it in the same places.
 * */
WRENFALL_API void wrenfall_options_set_reporter_path(wrenfall_options* options, const char* value);

/** The folder with the texts and the logo of the reporter's dialog. NULL or empty, the default, is
 * the reporter's own look. */
WRENFALL_API void wrenfall_options_set_theme_dir(wrenfall_options* options, const char* value);

/** The key until wrenfall_set_key changes it. NULL or empty, the default, sends none. */
WRENFALL_API void wrenfall_options_set_key(wrenfall_options* options, const char* value);

/** The user's name until wrenfall_set_user changes it. NULL or empty, the default, sends none. */
WRENFALL_API void wrenfall_options_set_user(wrenfall_options* options, const char* value);

/** The e-mail address until wrenfall_set_email changes it. NULL or empty, the default, sends none.
 */
WRENFALL_API void wrenfall_options_set_email(wrenfall_options* options, const char* value);

/** The description until wrenfall_set_user_description changes it. NULL or empty, the default,
 * sends none. */
WRENFALL_API void wrenfall_options_set_user_description(wrenfall_options* options,
                                                        const char* value);

/** The notes until wrenfall_set_notes changes them. NULL or empty, the default, sends none. */
WRENFALL_API void wrenfall_options_set_notes(wrenfall_options* options, const char* value);

/** The environment until wrenfall_set_environment changes it. NULL or empty, the default, is a line
 * about the operating system, for example "Windows 11 10.0.22631 x64". */
WRENFALL_API void wrenfall_options_set_environment(wrenfall_options* options, const char* value);

/** Appends an attribute, see wrenfall_set_attribute. A NULL name does nothing, a NULL value counts
 * as empty. wrenfall_init takes the first 64 distinct names. When a name is given twice, the later
 * value counts, unless 64 names are held before it is reached. */
WRENFALL_API void wrenfall_options_set_attribute(wrenfall_options* options, const char* name,
                                                 const char* value);

/** Appends the path of a file, see wrenfall_add_attachment; NULL does nothing. wrenfall_init takes
 * the first 24. */
WRENFALL_API void wrenfall_options_add_attachment(wrenfall_options* options, const char* path);

/** Who sends reports: a WRENFALL_UPLOAD_... value. Default: dialog. */
WRENFALL_API void wrenfall_options_set_upload_policy(wrenfall_options* options, uint32_t policy);

/** The crash type under which the service files crashes, hangs and captures. Default: 0, which
 * counts as 1. */
WRENFALL_API void wrenfall_options_set_crash_type_id(wrenfall_options* options,
                                                     uint32_t crash_type_id);

/** How much memory dumps hold: a WRENFALL_DUMP_... value. Default: normal. Only the stand-in for
 * Crashpad acts on it. An installed Crashpad decides itself what its dumps hold, and init then logs a
 * warning. The record of a report names the type that was written. */
WRENFALL_API void wrenfall_options_set_dump_type(wrenfall_options* options, uint32_t dump_type);

/** The MINIDUMP_TYPE bits (minidumpapiset.h) to write dumps with. Default: 0, which leaves it to
 * the dump type. Only the stand-in for Crashpad acts on it; with another one init logs a warning. */
WRENFALL_API void wrenfall_options_set_minidump_flags(wrenfall_options* options, uint32_t flags);

/** Turns hang detection on, see the section on hangs: a thread that gives no sign of life for more
 * than `threshold_ms` milliseconds is hung. 0, the default, and values above INT32_MAX leave it
 * off. `policy` is a WRENFALL_HANG_... value. */
WRENFALL_API void wrenfall_options_set_hang_detection(wrenfall_options* options,
                                                      uint32_t threshold_ms, uint32_t policy);

/** Whether hangs are ignored while a debugger is attached to the process: 0, the default, is off, any
 * other value is on. The first look under a debugger leaves a line in the log. Whatever is set here,
 * the monitor never ends a process that a debugger is attached to. */
WRENFALL_API void wrenfall_options_set_hang_ignore_debugger(wrenfall_options* options, int flag);

/** Whether other code of the process is kept from replacing the exception filter: 0 is off, any
 * other value, and the default, is on. A later call of SetUnhandledExceptionFilter in kernel32.dll
 * then has no effect and returns NULL, until the process ends. That entry alone is guarded: code
 * that calls the function in kernelbase.dll directly still replaces the filter. */
WRENFALL_API void wrenfall_options_set_protect_exception_filter(wrenfall_options* options,
                                                                int flag);

/** How many bytes of its stack each thread sets aside, so that an overflow of it can be reported; the
 * default is 32768, and 0 sets nothing aside. It holds for the thread that calls wrenfall_init, for
 * each thread that starts later, and for an older one once it calls wrenfall_watch_thread, until the
 * process ends. A stack below 256 KiB is left alone, and of a larger one at most a quarter is set aside.
 * Every other thread may call SetThreadStackGuarantee itself; the larger of two wishes counts. */
WRENFALL_API void wrenfall_options_set_stack_guarantee(wrenfall_options* options, uint32_t bytes);

/** Whether the reporter opens the support page that the service names: 0 is off, any other value,
 * and the default, is on. The reporter of an elevated process only shows its address. */
WRENFALL_API void wrenfall_options_set_open_support_url(wrenfall_options* options, int flag);

/** Whether structured reports (wrenfall_report_post) carry a crash signature, by which the service
 * groups them: 0 is off, any other value, and the default, is on. The signature has one line
 * `function|file|line` for each frame of the first thread marked as crashing. Reports with a dump
 * never have one. */
WRENFALL_API void wrenfall_options_set_crash_signature(wrenfall_options* options, int flag);

/** How much the store keeps: at most so many reports, none older than so many days, and all of them
 * together not larger than so many bytes. 0, the default, is no limit, for each; with all three 0
 * nothing is ever removed.
 *
 * The oldest reports go first, until what is left is within all limits, whatever their state: those
 * that wait to be sent too. Each report folder counts, with all its files. A report stays, and
 * counts, while a process works on it (the reporter that shows it, for example), or while the
 * library runs in the process that crashed or made it; so a limit of one byte removes all reports of
 * earlier runs. The monitor
 * applies the limits when it starts and after each report that it makes, the library after it has
 * sent or stored reports; the log names each report that they remove. The limit of age also covers
 * what capturing left behind: dumps that could not be read, for example.
 *
 * A report from the future, because the clock was set back, counts as new. */
WRENFALL_API void wrenfall_options_set_retention(wrenfall_options* options, uint32_t max_reports,
                                                 uint32_t max_age_days, uint64_t max_bytes);

/** Whether a report that could not be delivered is kept and sent again: 0, the default, is off, any
 * other value is on.
 *
 * With it, a report is kept when the service gave no answer, answered 407, 408, 429 or any status from
 * 500 to 599, or when a file could not be read or packed. Every other failure deletes it as ever. The
 * next attempt follows after about 5 minutes, then about 10, and so on up to 24 hours, each time
 * up to half of that earlier or later; not before the moment that the service names with
 * `Retry-After`, if that is within 24 hours. After 30 attempts, or with the first attempt that fails
 * 14 days after the first of all, the report is given up. A thread of the library makes the
 * attempts while the host runs, also where the upload policy is manual: the host has sent the report
 * once already. wrenfall_post_pending_reports_async makes those that are due. The reporter and
 * `wrenfallctl` follow the same rule.
 *
 * A clock that was set back makes no report wait longer than its time: what was last attempted more
 * than five minutes in the future is due. */
WRENFALL_API void wrenfall_options_set_resend(wrenfall_options* options, int flag);

/** At most `count` reports are made in any `seconds` seconds: against a program that crashes at every
 * start. 0 for either, the default, is no limit; a count above 1000 counts as 1000.
 *
 * Crashes, hangs, captures, structured and sanitizer reports count, over all runs of all processes of
 * the store; feedback does not. Beyond the limit a dump is deleted, with one line in the log, and no
 * report is made: wrenfall_capture_report returns WRENFALL_OK all the same, because the dump was
 * written, and the functions that post reports return WRENFALL_ERROR_LIMIT_REACHED. A hung process is
 * ended as its policy says, with or without a report. The next report that is made has the attribute
 * `wrenfall.dropped`: how many were not.
 *
 * When the clock was set back, reports from the future count as made at this moment. */
WRENFALL_API void wrenfall_options_set_report_limit(wrenfall_options* options, uint32_t count,
                                                    uint32_t seconds);

/** Whether reports are not even made while the user refuses, see wrenfall_set_consent: 0, the default, is
 * off, any other value is on. */
WRENFALL_API void wrenfall_options_set_drop_without_consent(wrenfall_options* options, int flag);

/** How many of the last breadcrumbs travel with a report, see the section on breadcrumbs: at most 200;
 * a larger number counts as 200. 0, the default, turns them off. */
WRENFALL_API void wrenfall_options_set_breadcrumbs(wrenfall_options* options, uint32_t count);

/** The callback for log messages, and the pointer that it is given. NULL, the default, is none. */
WRENFALL_API void wrenfall_options_set_logger(wrenfall_options* options,
                                              wrenfall_log_callback callback, void* user_data);

/** @} */

/* ------------------------------------------------------------------------------------------------
 * lifecycle */

/**
 * @name Lifecycle
 * Starting and ending the library, and asking for its state.
 * @{
 */

/** What wrenfall_has_capability can be asked. */
enum {
  /** Crashes become reports. */
  WRENFALL_CAPABILITY_CRASH_CAPTURE = 1,
  /** Crashes that never reach an exception filter are captured through Windows Error Reporting. Not while
   * the process's error mode has SEM_NOGPFAULTERRORBOX, which keeps that away. */
  WRENFALL_CAPABILITY_WER_COVERAGE = 2,
  /** Hang detection is on. */
  WRENFALL_CAPABILITY_HANG_DETECTION = 3,
  /** The reporter was found. */
  WRENFALL_CAPABILITY_REPORTER = 4,
  /** wrenfall_capture_report works. */
  WRENFALL_CAPABILITY_ON_DEMAND_CAPTURE = 5,
  /** What is set at run time travels with a crash. */
  WRENFALL_CAPABILITY_LIVE_METADATA = 6,
  /** Files travel with reports. */
  WRENFALL_CAPABILITY_ATTACHMENTS = 7,
  /** Dumps are written by another process. */
  WRENFALL_CAPABILITY_OUT_OF_PROCESS_CAPTURE = 8
};

/**
 * Starts the library: creates the store, starts WrenfallMonitor.exe and installs the crash handling
 * of this process. A failed call leaves the library not initialized, and may be repeated at once.
 * After a successful call Wrenfall.dll stays loaded until the process ends.
 *
 * Blocking: until the handler has started; with the stand-in for Crashpad two minutes at most. Up to 2 s
 * more, as for wrenfall_shutdown, after another thread was ended in the middle of a call of the library.
 * In a store that records its runs, up to 2 s more while another process changes that record.
 *
 * Threads: any, but not from DllMain. Calls of wrenfall_init and wrenfall_shutdown wait for each
 * other.
 *
 * Ownership: takes the options and frees them, whatever the result.
 *
 * @retval WRENFALL_OK initialized
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT NULL options, or an empty database, application or
 * version
 * @retval WRENFALL_ERROR_ALREADY_INITIALIZED it was initialized before; nothing changed
 * @retval WRENFALL_ERROR_MONITOR_NOT_FOUND WrenfallMonitor.exe is not where it was looked for
 * @retval WRENFALL_ERROR_REPORTER_NOT_FOUND WrenfallReporter.exe is not where it was looked for
 * @retval WRENFALL_ERROR_HANDLER_START_FAILED the handler did not start, or there was not enough
 * memory; the store may not be writable; or the system is older than Windows 10 version 1607. The
 * log says more
 * @retval WRENFALL_ERROR_FILE no folder was found for the default store
 */
WRENFALL_API wrenfall_result wrenfall_init(wrenfall_options* options);

/**
 * Ends the library's work, and does nothing when it is not initialized. What was set at run time is
 * cleared, and so are the facts of the options that can be set at run time. A crash after this call
 * is still captured by the handler of this run, without them. The logging callback is not called
 * any more after it.
 *
 * Blocking: waits for a hang report that is being taken, which has the bound of
 * wrenfall_capture_report. In a store that records its runs, up to 2 s more while another process
 * changes that record, and up to 2 s for a wrenfall_get_last_run that waits for the same. After a thread was ended in the middle of a call of the library, up to 2 s, too. It waits
 * neither for the next tick of the hang detection nor for uploads in other threads, which run to their
 * end.
 *
 * Threads: any, but not from DllMain.
 *
 * Ownership: ends the life of what wrenfall_get_environment returned.
 */
WRENFALL_API void wrenfall_shutdown(void);

/** Whether the library is initialized. Takes no lock. */
WRENFALL_API bool wrenfall_is_initialized(void);

/** The library's version, for example "9.0.0-dev". Takes no lock. The text is static. */
WRENFALL_API const char* wrenfall_version_string(void);

/** The version of the binary interface: 1. Takes no lock. */
WRENFALL_API uint32_t wrenfall_abi_version(void);

/** The environment text in force. Takes no lock. The text is valid until wrenfall_shutdown; NULL
 * when not initialized. */
WRENFALL_API const char* wrenfall_get_environment(void);

/** Whether the library has a WRENFALL_CAPABILITY_...; false for unknown numbers and when not
 * initialized. */
WRENFALL_API bool wrenfall_has_capability(uint32_t capability);

/**
 * The path of the store's log file.
 *
 * Threads: one at a time, as all calls share one buffer.
 *
 * Ownership: the library's, valid until the next call of this function.
 *
 * @return the path; NULL when not initialized, or when there is no memory
 */
WRENFALL_API const char* wrenfall_log_file_path(void);

/**
 * Frees a single buffer that the library allocated for the caller and for which there is no `_free`
 * function of its own. In this version there is none but the `info_url` of a
 * wrenfall_upload_result, if the host has taken it out of the record. Records, lists and reports
 * have functions of their own; a `const char*` is never freed.
 */
WRENFALL_API void wrenfall_free(void* buffer);

/** How a run of the host ended, from its wrenfall_init on. */
enum {
  /** No run of this store is known. */
  WRENFALL_RUN_NONE = 0,
  /** It called wrenfall_shutdown. What the process did after that does not count. */
  WRENFALL_RUN_CLEAN = 1,
  /** It crashed: a dump of a crash was written, or the exit code is that of an exception. */
  WRENFALL_RUN_CRASHED = 2,
  /** It was ended because of a hang, see WRENFALL_HANG_REPORT_AND_TERMINATE. */
  WRENFALL_RUN_HUNG = 3,
  /** It ended in another way without wrenfall_shutdown: it returned from main, was ended by another
   * process, or ended with the system or the user's session. */
  WRENFALL_RUN_ENDED = 4,
  /** Nobody could tell: the monitor or the capture handler ended before the host, the power failed, the
   * file is damaged, or the process of that run is still there. */
  WRENFALL_RUN_UNKNOWN = 5
};

/**
 * What is known of a run. The caller provides the record and sets `size` to sizeof(wrenfall_last_run).
 * A record with a smaller size is left untouched.
 */
typedef struct wrenfall_last_run {
  uint32_t size;           /**< sizeof(wrenfall_last_run), set by the caller. */
  uint32_t state;          /**< A WRENFALL_RUN_... value. */
  uint32_t exception_code; /**< Of a crash; 0 when there was none, or it is not known. */
  uint32_t exit_code;      /**< Of the process; 0 after a clean end, and when it is not known. */
  int64_t start_time;      /**< When it called wrenfall_init, in ms since 1970, UTC. */
  int64_t end_time;        /**< When it crashed or ended; 0 when that is not known. */
  /** How many runs in a row, up to and with that one, crashed within 60 s of wrenfall_init. A run whose
   * end, or the time of it, is unknown leaves the number as it was; every other end makes it 0. */
  uint32_t crashes_in_a_row;
  /** From start to end in ms, UINT32_MAX when it was longer; 0 when the end is not known. */
  uint32_t uptime_ms_capped;
} wrenfall_last_run;

#ifdef __cplusplus
static_assert(sizeof(wrenfall_last_run) == 40, "the record's layout is part of the interface");
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
_Static_assert(sizeof(wrenfall_last_run) == 40, "the record's layout is part of the interface");
#endif

/**
 * Says how the last run of this store before this one ended. A host asks after wrenfall_init, for example
 * to start in a safe mode after some crashes in a row.
 *
 * The store begins to record its runs with the first call of this function, and goes on from then on: the
 * very first call gives WRENFALL_RUN_NONE. A run that could not be initialized does not count. Where
 * several processes use one store at once, the last run is the one that was initialized last before this
 * one; it is WRENFALL_RUN_UNKNOWN as long as it goes on, and its end is lost where two more began before
 * it.
 *
 * Blocking: for the disk; for up to two seconds, once, while the process of the last run is gone but its
 * monitor has not yet written how it ended (WRENFALL_RUN_UNKNOWN then; a later call may know more); and for
 * up to two more while another process changes the file. Meanwhile it gives no sign of life (see
 * wrenfall_heartbeat).
 *
 * Threads: any.
 *
 * Ownership: `run` stays the caller's.
 *
 * @retval WRENFALL_OK the record was filled
 * @retval WRENFALL_ERROR_NOT_INITIALIZED the library is not initialized
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT NULL, or a size that is too small
 * @retval WRENFALL_ERROR_FILE runs could not be recorded from now on, or there is no memory
 */
WRENFALL_API wrenfall_result wrenfall_get_last_run(wrenfall_last_run* run);

/** @} */

/* ------------------------------------------------------------------------------------------------
 * run-time metadata */

/**
 * @name Run-time metadata
 *
 * What is set here travels with every report from then on, also with a crash that follows at once.
 * A value that is set while a dump is being written is in the next one. Values last until
 * wrenfall_shutdown; a later wrenfall_init starts again from its options. NULL counts as empty.
 *
 * In dumps, and in the reports made of them, a value is cut silently after 4096 bytes, notes and
 * the description after 20480, and the name of an attribute, with "attr." before it, after 255. A
 * dump holds all values set here, however many names were used before.
 *
 * Blocking: while another thread posts feedback or an AddressSanitizer text, see the section on
 * host-made reports; otherwise for short locks only.
 *
 * Threads: any.
 *
 * Ownership: the library copies all texts.
 *
 * Results: WRENFALL_OK; WRENFALL_ERROR_NOT_INITIALIZED; WRENFALL_ERROR_FILE without memory, when
 * the change may have been made in part; and what a function names itself.
 *
 * @{
 */

/** Sets the key, which the service gets as `appKey`. */
WRENFALL_API wrenfall_result wrenfall_set_key(const char* value);

/** Sets the name of the user. */
WRENFALL_API wrenfall_result wrenfall_set_user(const char* value);

/** Sets the e-mail address of the user. */
WRENFALL_API wrenfall_result wrenfall_set_email(const char* value);

/** Sets the description of the problem in the user's words. */
WRENFALL_API wrenfall_result wrenfall_set_user_description(const char* value);

/** Sets the host's notes. */
WRENFALL_API wrenfall_result wrenfall_set_notes(const char* value);

/** Sets the environment. NULL and the empty text restore the line that describes the operating
 * system. A text that wrenfall_get_environment has returned stays in memory until
 * wrenfall_shutdown. */
WRENFALL_API wrenfall_result wrenfall_set_environment(const char* value);

/**
 * Sets a named attribute, or removes it when `value` is NULL.
 *
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT NULL or empty name
 * @retval WRENFALL_ERROR_LIMIT_REACHED 64 other names are held; nothing changed
 */
WRENFALL_API wrenfall_result wrenfall_set_attribute(const char* name, const char* value);

/** Turns quiet sending on (not 0) or off (0) for the crashes, hangs and captures from now on. Off
 * means dialog, also when the library was started quiet; when it was started manual, off means
 * manual. Does nothing when not initialized. */
WRENFALL_API void wrenfall_set_quiet_mode(int flag);

/**
 * Adds a file that is to travel with each report of a crash, a hang or a capture. The monitor
 * copies it when it makes the report, as it is then. Paths are compared byte for byte; adding one
 * twice changes nothing. A relative path counts from the current directory of the wrenfall_init
 * call.
 *
 * Blocking: for the disk too.
 *
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT NULL or empty path
 * @retval WRENFALL_ERROR_LIMIT_REACHED 24 paths are held
 * @retval WRENFALL_ERROR_FILE the list could not be written for the monitor; the library holds the
 * path all the same, and the next call that can write the list includes it
 */
WRENFALL_API wrenfall_result wrenfall_add_attachment(const char* path);

/**
 * Removes a file that was added; a path that is not held changes nothing.
 *
 * Blocking: for the disk too.
 *
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT NULL path
 * @retval WRENFALL_ERROR_FILE the list could not be written for the monitor; the library has
 * dropped the path all the same
 */
WRENFALL_API wrenfall_result wrenfall_remove_attachment(const char* path);

/** @} */

/* ------------------------------------------------------------------------------------------------
 * breadcrumbs */

/**
 * @name Breadcrumbs
 *
 * Short messages of the host about what it was doing. The last of them, as many as
 * wrenfall_options_set_breadcrumbs says, travel with every report that is made from then on, also with
 * a crash at the very next moment, in the file `breadcrumbs.json`: an array of time in UTC with
 * milliseconds, level, thread id, category and message, oldest first. A report without breadcrumbs has
 * no such file. They last until wrenfall_shutdown, which overwrites their texts.
 *
 * Blocking: neither function takes a lock or waits, and neither allocates. They write to memory that
 * the handler reads out of the process; one that is being added at the moment of a crash is left out.
 *
 * Threads: any, also at once.
 *
 * Ownership: the library copies all texts.
 *
 * Where breadcrumbs are off, both functions do nothing and return as if they were on.
 *
 * @{
 */

/**
 * Adds a breadcrumb. `level` is a WRENFALL_LOG_... value, and one that is not listed counts as INFO. A
 * NULL category counts as empty. The category is cut after 32 bytes and the message after 256, both
 * between two characters.
 *
 * @retval WRENFALL_OK added, or breadcrumbs are off. Where many threads are stopped in the middle of an
 * add, one may be left out
 * @retval WRENFALL_ERROR_NOT_INITIALIZED the library is not initialized
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT NULL or empty message
 */
WRENFALL_API wrenfall_result wrenfall_breadcrumb_add(wrenfall_log_level level, const char* category,
                                                     const char* message);

/**
 * Removes all breadcrumbs that were added before, for example when another user logs in.
 *
 * @retval WRENFALL_OK removed, or breadcrumbs are off
 * @retval WRENFALL_ERROR_NOT_INITIALIZED the library is not initialized
 */
WRENFALL_API wrenfall_result wrenfall_breadcrumb_clear(void);

/** @} */

/* ------------------------------------------------------------------------------------------------
 * hangs */

/**
 * @name Hangs
 *
 * With a threshold in the options, a thread of the library looks every quarter of the threshold, at
 * most every 100 ms, for threads that have given no sign of life for longer than the threshold:
 *
 *  - "main": every wrenfall_heartbeat, of any thread, is a sign of its life, and so is a visible
 *    top-level window of the process that answers a message within 50 ms.
 *  - each thread that called wrenfall_watch_thread: its own heartbeats.
 *
 * A hang becomes a report of kind "hang", once until the thread's next sign of life. After a report
 * there is no other for five minutes, whichever thread hangs. With
 * WRENFALL_HANG_REPORT_AND_TERMINATE the monitor then ends the process, unless a debugger is attached
 * to it. The integration guide says how to choose the threshold, and what else looks like a hang.
 *
 * Blocking: none of these functions blocks.
 *
 * Threads: any; a watch is that of the calling thread.
 *
 * @{
 */

/** Gives a sign of life of "main", and of the calling thread if it is watched. Does nothing when
 * the library is not initialized or hang detection is off. */
WRENFALL_API void wrenfall_heartbeat(void);

/**
 * Watches the calling thread under a name from now on, or gives it a new name; NULL counts as
 * empty. The thread must end its watch before it ends. Whatever the result, a thread that is older
 * than wrenfall_init has from now on the stack guarantee of the options, where the library is
 * initialized.
 *
 * @retval WRENFALL_OK watched
 * @retval WRENFALL_ERROR_NOT_INITIALIZED the library is not initialized
 * @retval WRENFALL_ERROR_HANG_DETECTION_OFF the options gave no threshold
 * @retval WRENFALL_ERROR_FILE there is no memory
 */
WRENFALL_API wrenfall_result wrenfall_watch_thread(const char* name);

/** Ends the watch of the calling thread; does nothing when there is none. */
WRENFALL_API void wrenfall_unwatch_thread(void);

/**
 * Pauses hang detection: until the matching wrenfall_hang_resume no hang is found, of any thread. For
 * long work that gives no sign of life and is no hang, for example a dialog of the system. A hang
 * report that is being taken already is completed.
 *
 * Pauses are counted, for the process: each needs a wrenfall_hang_resume, by whichever thread. They
 * count without wrenfall_init too, and last over wrenfall_shutdown. The first look that is left out
 * leaves a line in the log.
 */
WRENFALL_API void wrenfall_hang_pause(void);

/**
 * Ends one pause. That is a sign of life of "main" and of all watched threads; with the last one, hang
 * detection goes on.
 *
 * @retval WRENFALL_OK one pause less is in force
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT none was in force; nothing changed
 */
WRENFALL_API wrenfall_result wrenfall_hang_resume(void);

/** @} */

/* ------------------------------------------------------------------------------------------------
 * capture */

/**
 * @name Capture
 * @{
 */

/**
 * Takes a report of the running process, which is stopped while the dump is written and goes on
 * afterwards. The dump's exception names the calling thread; that of a hang report names the thread
 * that hangs. The monitor makes the report folder from the dump a moment later, and sends it by the
 * upload policy.
 *
 * Blocking: until the handler has written the dump. The wait ends early when the handler
 * ends, and after two minutes without an answer (125 seconds at most). Then the call fails,
 * and every later one fails at once, until the slow handler has answered after all or the library
 * has been shut down and initialized again.
 *
 * Threads: any; concurrent calls run one after the other.
 *
 * @retval WRENFALL_OK the handler has answered. It may have failed to write the dump, for example
 * to a full disk; the log then says so
 * @retval WRENFALL_ERROR_NOT_INITIALIZED the library is not initialized
 * @retval WRENFALL_ERROR_HANDLER_START_FAILED the handler has ended or does not answer, as the log
 * says, or there was not enough memory
 */
WRENFALL_API wrenfall_result wrenfall_capture_report(void);

/** @} */

/* ------------------------------------------------------------------------------------------------
 * send and discard */

/**
 * @name Send and discard
 * @{
 */

/**
 * The outcome of an upload. The caller provides the record and sets `size` to
 * sizeof(wrenfall_upload_result), and need set no more: each call that takes a record fills all of
 * it, whatever it returns. A record with a smaller size is left untouched.
 */
typedef struct wrenfall_upload_result {
  uint32_t size;          /**< sizeof(wrenfall_upload_result), set by the caller. */
  wrenfall_result result; /**< What the call that filled the record returned. */
  int32_t http_status;    /**< The last HTTP status, 0 when there was no answer. */
  int64_t crash_id;       /**< The report's id at the service, 0 when it gave none. */
  int64_t stack_key_id;   /**< The id of the group of reports with the same stack, or 0. */
  /** The address of the support page; NULL when there is none, or no memory for it. The caller's:
   * free it with wrenfall_upload_result_free. */
  char* info_url;
} wrenfall_upload_result;

#ifdef __cplusplus
static_assert(sizeof(wrenfall_upload_result) == 40, "the record's layout is part of the interface");
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
_Static_assert(sizeof(wrenfall_upload_result) == 40,
               "the record's layout is part of the interface");
#else
typedef char wrenfall_upload_result_has_40_bytes[sizeof(wrenfall_upload_result) == 40 ? 1 : -1];
#endif

/** Frees `info_url` and sets it to NULL; the record itself stays the caller's. Works without
 * wrenfall_init. */
WRENFALL_API void wrenfall_upload_result_free(wrenfall_upload_result* result);

/**
 * Uploads one report folder. Where `user`, `email` and `description` are not NULL, they first
 * replace those in the report's record; an empty text clears the field. `result`, where not NULL,
 * receives the outcome.
 *
 * The retry rule: the folder is deleted after success, and after every failure but HTTP 500, 502,
 * 503 and 504, which keep it for two more attempts. So the report is lost when the service cannot
 * be reached: a host that must not lose reports sends when it knows that it is online. A folder
 * that is kept is no longer pending: only this call, or a person with wrenfallctl, sends it again.
 * With wrenfall_options_set_resend its rule comes first: a report that may arrive another time is
 * kept, and sent again when it is due.
 *
 * The rule does not apply, and the folder stays pending, where no attempt came to an end: it holds no
 * record, its record is damaged or cannot be opened at present, its files could not be listed, or
 * memory ran out. Where memory runs out after the service took the report, the report is not sent a
 * second time.
 *
 * Blocking: for the whole upload (connecting up to 60 s, each single send or receive up to 300 s),
 * and before that for as long as another thread or process sends or discards the same folder.
 *
 * Threads: any; calls for different folders run side by side.
 *
 * Ownership: `result` stays the caller's; free its `info_url` with wrenfall_upload_result_free.
 *
 * @retval WRENFALL_OK the service has the report
 * @retval WRENFALL_ERROR_NOT_INITIALIZED the library is not initialized
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT NULL or empty folder, no report or a damaged record
 * there, or one without the data that the service requires
 * @retval WRENFALL_ERROR_FILE the report could not be read or packed, or there is no memory
 * @retval WRENFALL_ERROR_TRANSPORT the service gave no answer
 * @retval WRENFALL_ERROR_SERVICE its answer was a failure, or cannot be used
 * @retval WRENFALL_ERROR_REJECTED it rejected the report, or asked to slow down
 * @retval WRENFALL_ERROR_NO_CONSENT the user has refused that reports are sent; the report is kept
 */
WRENFALL_API wrenfall_result wrenfall_send_report(const char* report_folder, const char* user,
                                                  const char* email, const char* description,
                                                  wrenfall_upload_result* result);

/**
 * Deletes a report folder with all its files. Only a folder that lies directly in the store or that
 * holds a report is deleted.
 *
 * Blocking: for the disk; never for a thread or process that sends the report.
 *
 * Threads: any.
 *
 * @retval WRENFALL_OK deleted
 * @retval WRENFALL_ERROR_NOT_INITIALIZED the library is not initialized
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT NULL or empty folder
 * @retval WRENFALL_ERROR_FILE there is no such folder, it is no report folder, it is being sent, or
 * a file could not be removed; in the last case it is neither pending nor sent again
 */
WRENFALL_API wrenfall_result wrenfall_discard_report(const char* report_folder);

/**
 * Sends every pending report of the store, oldest first, as wrenfall_send_report does; with
 * wrenfall_options_set_resend after them those kept reports that are due. It skips
 * reports that a running process works on: those that a reporter is asking the user about, for
 * example, and those that this process is posting.
 *
 * A report that was sent is gone, with its own log; one that could not be sent leaves a line
 * "Report not sent: ..." in the log of the store.
 *
 * Blocking: no, the work is done on a thread of the library. After wrenfall_shutdown the upload in
 * progress runs to its end, and no further one starts. When the process ends, the report that is
 * being sent stays in the store.
 *
 * Threads: any; several calls at once send no report twice.
 *
 * @retval WRENFALL_OK the thread was started
 * @retval WRENFALL_ERROR_NOT_INITIALIZED the library is not initialized
 * @retval WRENFALL_ERROR_FILE there is no memory
 */
WRENFALL_API wrenfall_result wrenfall_post_pending_reports_async(void);

/** What the user has said about sending reports. */
enum {
  /** Nothing, or the host does not care: the upload policy alone decides. */
  WRENFALL_CONSENT_UNKNOWN = 0,
  /** Reports are sent; with WRENFALL_UPLOAD_DIALOG without asking. */
  WRENFALL_CONSENT_GIVEN = 1,
  /** No program sends anything. */
  WRENFALL_CONSENT_REFUSED = 2,
  /** Nothing is sent by itself. What the user closed the dialog on waits until the user is asked
   * again, see wrenfall_ask_pending_reports_async, or somebody sends it. */
  WRENFALL_CONSENT_ASK = 3
};

/**
 * Keeps in the store what the user has said about sending reports: a WRENFALL_CONSENT_... value. It is
 * kept from run to run until another value replaces it; WRENFALL_CONSENT_UNKNOWN, the default, removes it.
 * The default store is that of one version of the application, and the next version's store knows nothing
 * of it: hosts without a store of their own (wrenfall_options_set_store_dir) call this at each start.
 * The library, the reporter and wrenfallctl look at it before each report that they send, so it counts
 * for the reports that are there already, too. It does not stop an upload in progress.
 *
 * While it is REFUSED, reports are still made and kept, unless
 * wrenfall_options_set_drop_without_consent turned that off. Then dumps are deleted, and the functions
 * that post host-made reports make none. No dialog is shown. wrenfall_send_report gives
 * WRENFALL_ERROR_NO_CONSENT and leaves the report as it was, and so do the posting functions, which keep
 * their report as a pending one; wrenfall_post_pending_reports_async and resending send nothing.
 *
 * While it is ASK, wrenfall_post_pending_reports_async and the reporter with WRENFALL_UPLOAD_QUIET send
 * nothing. The dialog, wrenfall_send_report, the posting functions and a person with wrenfallctl do.
 * Resending sends again what one of those has sent in vain, and nothing else; a refusal meanwhile takes the
 * agreement back.
 *
 * The dialog can offer the user a check box with which the reporter itself keeps GIVEN; the theme turns it
 * on.
 *
 * Blocking: for the disk, and for up to two seconds while another process changes what is kept.
 * Meanwhile it gives no sign of life (see wrenfall_heartbeat). REFUSED also looks at each report of the
 * store, and waits for a tenth of a second for one that is in use.
 *
 * Threads: any.
 *
 * @retval WRENFALL_OK kept
 * @retval WRENFALL_ERROR_NOT_INITIALIZED the library is not initialized
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT a value that is not listed
 * @retval WRENFALL_ERROR_FILE it could not be written; what was kept before counts
 */
WRENFALL_API wrenfall_result wrenfall_set_consent(uint32_t consent);

/**
 * Has the reporter ask the user about the pending reports that wait for an answer, the newest first: its
 * dialog says how many more wait, and goes on with the next one. While the consent is
 * WRENFALL_CONSENT_UNKNOWN, those with WRENFALL_UPLOAD_DIALOG wait: the user closed the dialog, or none
 * could be shown. While it is WRENFALL_CONSENT_ASK, all pending reports do, whatever their policy, and
 * so do those that are kept to be sent again without anybody's agreement. Otherwise none does, and no dialog comes up. A report that the user closes the dialog on again stays
 * pending.
 *
 * One reporter asks about the reports of a store: where one does already, it takes these too. Nobody is
 * asked where no user can see a window, in a service for example.
 *
 * The log of the store says "Reporter started for ..." with the store, or "Reporter not started for
 * ..."; "No report waits for the user's answer" where none does; and for each report what became of it.
 *
 * Blocking: no, a thread of the library looks at the reports and starts the reporter. Nothing is started
 * after wrenfall_shutdown; a dialog that is open stays open.
 *
 * Threads: any.
 *
 * @retval WRENFALL_OK the thread was started
 * @retval WRENFALL_ERROR_NOT_INITIALIZED the library is not initialized
 * @retval WRENFALL_ERROR_FILE there is no memory
 */
WRENFALL_API wrenfall_result wrenfall_ask_pending_reports_async(void);

/** @} */

/* ------------------------------------------------------------------------------------------------
 * pending list */

/**
 * @name Pending list
 *
 * Threads: any number may read a list at once; none may use it once it is being freed.
 *
 * @{
 */

/** The pending reports of the store at one moment. */
typedef struct wrenfall_report_list wrenfall_report_list;

/**
 * Lists the reports that wait to be sent, oldest first: folders that hold a readable record and no
 * result, and that no running process works on.
 *
 * Blocking: for the disk; each record is read.
 *
 * Threads: any.
 *
 * Ownership: the caller's, to be freed with wrenfall_report_list_free.
 *
 * @return the list, which may be empty; NULL when the library is not initialized, or when there is
 * no memory for all of the list.
 */
WRENFALL_API wrenfall_report_list* wrenfall_pending_reports(void);

/** The number of entries; 0 for NULL. */
WRENFALL_API uint32_t wrenfall_report_list_count(const wrenfall_report_list* list);

/** The folder of an entry. The list owns the text. NULL when the index is not below the count. */
WRENFALL_API const char* wrenfall_report_list_folder(const wrenfall_report_list* list,
                                                     uint32_t index);

/** The text of an entry's WrenfallCrashData.json, as it was stored. The list owns the text. NULL
 * when the index is not below the count. */
WRENFALL_API const char* wrenfall_report_list_json(const wrenfall_report_list* list,
                                                   uint32_t index);

/** Frees a list with everything that it owns. */
WRENFALL_API void wrenfall_report_list_free(wrenfall_report_list* list);

/** @} */

/* ------------------------------------------------------------------------------------------------
 * host-made reports */

/**
 * @name Host-made reports
 *
 * The host makes three kinds of report itself: a structured report of crash facts that it has
 * collected, user feedback, and the text of an AddressSanitizer report. Posting one writes a report
 * folder with the facts of the options and of the run-time metadata. With WRENFALL_UPLOAD_MANUAL in
 * the options it then waits as a pending report; otherwise it is sent at once, on the calling
 * thread, with the retry rule of wrenfall_send_report.
 *
 * In JSON each invalid UTF-8 sequence becomes U+FFFD; XML and the AddressSanitizer text keep the
 * bytes as they are. Attachments are copied into the report folder during the call, and relative
 * paths count from the current directory at that time. Of two with the same file name the later one
 * counts. One that cannot be copied is left out, with a warning in the log.
 *
 * Blocking: the posting calls block for the whole upload. wrenfall_post_feedback and
 * wrenfall_post_asan_report hold the lock of the run-time metadata for that long: they wait for
 * each other, and the functions of that section and wrenfall_report_post wait for them.
 * wrenfall_capture_report, wrenfall_heartbeat and wrenfall_shutdown do not. The functions that
 * build a report do not block, and work without wrenfall_init.
 *
 * Threads: any may post; one thread at a time may use a structured report.
 *
 * Ownership: `result`, where not NULL, stays the caller's, as in wrenfall_send_report.
 *
 * Results of the posting calls: those of wrenfall_send_report, with WRENFALL_ERROR_LIMIT_REACHED
 * when the host's own limit of reports is reached, and WRENFALL_ERROR_FILE also when
 * the report could not be written; nothing then stays in the store. With WRENFALL_UPLOAD_MANUAL the
 * record of the outcome is all zero.
 *
 * @{
 */

/** The formats of a structured report. A value that is not listed here counts as XML. */
enum {
  WRENFALL_REPORT_XML = 0, /**< wfCrashReport.xml */
  WRENFALL_REPORT_JSON = 1 /**< wfCrashReport.json */
};

/** A structured report while it is built. */
typedef struct wrenfall_report wrenfall_report;

/**
 * Makes an empty report in a WRENFALL_REPORT_... format.
 *
 * Ownership: the caller's, to be freed with wrenfall_report_free.
 *
 * @return the report; NULL when there is no memory. Adding to NULL does nothing. In all functions
 * that add, NULL texts count as empty, and what there is no memory for is dropped.
 */
WRENFALL_API wrenfall_report* wrenfall_report_new(uint32_t format);

/** Frees a report. */
WRENFALL_API void wrenfall_report_free(wrenfall_report* report);

/** Sets what the report says of the machine; each call replaces the one before. */
WRENFALL_API void wrenfall_report_set_platform(wrenfall_report* report, const char* platform,
                                               const char* os);

/** Sets what the report says of the exception; each call replaces the one before. */
WRENFALL_API void wrenfall_report_set_exception(wrenfall_report* report, const char* code,
                                                const char* explanation);

/** Adds a register. In XML the name becomes that of an element: anything but a letter followed by
 * letters and digits makes a document that strict parsers refuse. In JSON the last register of a
 * name counts. */
WRENFALL_API void wrenfall_report_add_register(wrenfall_report* report, const char* name,
                                               const char* value);

/** Adds a thread. `crashing` is a flag; the first thread for which it is not 0 is the one that
 * crashed.
 * @return the thread's index, counted from 0; -1 for NULL, and when there is no memory */
WRENFALL_API int32_t wrenfall_report_add_thread(wrenfall_report* report, const char* name,
                                                int32_t crashing);

/** Adds a frame to a thread, the innermost first; does nothing for an index that
 * wrenfall_report_add_thread has not returned. `line` is read as signed; an `address` of 0 is
 * unknown. */
WRENFALL_API void wrenfall_report_add_frame(wrenfall_report* report, int32_t thread,
                                            const char* function, const char* file, uint32_t line,
                                            const char* module, uint64_t address);

/** Adds a module: `base` is the address that it is loaded at, `size` its size in memory in bytes.
 * */
WRENFALL_API void wrenfall_report_add_module(wrenfall_report* report, const char* name,
                                             const char* path, uint64_t base, uint64_t size,
                                             const char* file_version, const char* product_version);

/** Adds the path of a file that is to travel with the report; NULL does nothing. */
WRENFALL_API void wrenfall_report_add_attachment(wrenfall_report* report, const char* path);

/**
 * Posts a structured report.
 *
 * Ownership: the report stays the caller's, and may be posted again.
 *
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT NULL report
 */
WRENFALL_API wrenfall_result wrenfall_report_post(const wrenfall_report* report,
                                                  wrenfall_upload_result* result);

/** Posts user feedback. NULL texts count as empty; `attachments` is an array of `attachment_count`
 * paths and may be NULL, as may its entries. */
WRENFALL_API wrenfall_result wrenfall_post_feedback(const char* title, const char* description,
                                                    const char* const* attachments,
                                                    uint32_t attachment_count,
                                                    wrenfall_upload_result* result);

/**
 * Posts the text of an AddressSanitizer report.
 *
 * @retval WRENFALL_ERROR_INVALID_ARGUMENT NULL text
 */
WRENFALL_API wrenfall_result wrenfall_post_asan_report(const char* text,
                                                       wrenfall_upload_result* result);

/** @} */

/* ------------------------------------------------------------------------------------------------
 * reserved */

/**
 * @name Reserved
 *
 * Settings that the library stores but does not use. They are options like those above: the same
 * rules hold for blocking, threads, ownership and results.
 *
 * @{
 */

/** A function of the host for the moment of a crash. The library never calls it. */
typedef void (*wrenfall_crash_callback)(void* user_data);

/** Reserved. Default: 0. */
WRENFALL_API void wrenfall_options_set_crash_completion(wrenfall_options* options,
                                                        uint32_t completion);

/** Reserved: a flag, by default off. */
WRENFALL_API void wrenfall_options_set_chain_previous_signal_handlers(wrenfall_options* options,
                                                                      int flag);

/** Reserved: a callback, and the pointer that it would be given. NULL, the default, is none. */
WRENFALL_API void wrenfall_options_set_on_crash(wrenfall_options* options,
                                                wrenfall_crash_callback callback, void* user_data);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* WRENFALL_WRENFALL_H_ */
