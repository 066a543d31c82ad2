/**
 * @file
 * Reports of failures of the C and C++ runtime: abort, std::terminate and the like.
 *
 * Such a failure ends the process without an exception that the library could see, and each runtime
 * tells only the handlers that were set in it. Every module that links a runtime statically has one of
 * its own. So this header sets them in the runtime of the module that includes it:
 *
 * @code{.cpp}
 * #include <wrenfall/runtime_failures.h>
 *
 * int main() {
 *   start_wrenfall();  // first: the capture has a handler of its own for abort
 *   wrenfall_install_runtime_handlers(WRENFALL_RUNTIME_ALL);
 *   run_the_application();
 * }
 * @endcode
 *
 * Each failure then becomes a report of kind "crash", with the stack that failed and the code below,
 * and the process ends with that code:
 *
 * | failure | code |
 * |---|---|
 * | `abort`, a failed `assert`, and what ends in them | #WRENFALL_CODE_ABORT |
 * | `std::terminate`, for example by an exception that left a noexcept function | #WRENFALL_CODE_TERMINATE |
 * | call of a pure virtual function | #WRENFALL_CODE_PURE_CALL |
 * | a wrong argument of a function of the C runtime | #WRENFALL_CODE_INVALID_PARAMETER |
 * | `new` without memory | #WRENFALL_CODE_NEW |
 *
 * Where an exception derived from std::exception led to std::terminate, its `what()` is the report's
 * attribute `wrenfall.what`, unless 64 other attributes are held. Nothing waits for another thread that
 * posts feedback.
 *
 * What the runtime decides:
 *  - Microsoft's runtime keeps the handler of std::terminate for each thread. A thread that did not
 *    install it ends in abort instead; installing again on a thread is harmless.
 *  - Of MinGW's runtimes only the newer one (UCRT) reports wrong arguments, and none reports the call
 *    of a pure virtual function.
 *  - A program written in C has the handlers of abort and of wrong arguments.
 *
 * Under a debugger, the debugger gets the failure as an exception with the code above, and there is no
 * report. The header includes windows.h; a host that wants NOMINMAX or the like defines it before. In
 * C++ all files of a module share one set of handlers; in C include the header in one file.
 */
#ifndef WRENFALL_RUNTIME_FAILURES_H_
#define WRENFALL_RUNTIME_FAILURES_H_

#include <signal.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <wrenfall/wrenfall.h>
/* After the headers above, which need nothing of it. */
#include <windows.h>

#ifdef __cplusplus
#include <exception>
#include <new>
#endif

/** @name Codes
 * The exception codes of the reports, which are the exit codes of the processes too.
 * @{ */
#define WRENFALL_CODE_ABORT 0xE0574601u             /**< abort */
#define WRENFALL_CODE_TERMINATE 0xE0574602u         /**< std::terminate */
#define WRENFALL_CODE_PURE_CALL 0xE0574603u         /**< call of a pure virtual function */
#define WRENFALL_CODE_INVALID_PARAMETER 0xE0574604u /**< wrong argument of the C runtime */
#define WRENFALL_CODE_NEW 0xE0574605u               /**< new without memory */
/** @} */

/** Which failures are reported: a sum of these. */
enum {
  WRENFALL_RUNTIME_ABORT = 1,             /**< abort */
  WRENFALL_RUNTIME_TERMINATE = 2,         /**< std::terminate; in C nothing */
  WRENFALL_RUNTIME_PURE_CALL = 4,         /**< pure virtual call; with MinGW nothing */
  WRENFALL_RUNTIME_INVALID_PARAMETER = 8, /**< wrong arguments of the C runtime */
  /** `new` without memory; in C nothing. It then ends the process also where the host would catch
   * std::bad_alloc or use `new (std::nothrow)`, and a handler of the host's that frees memory is not
   * asked: such a host leaves this one out. */
  WRENFALL_RUNTIME_NEW = 16,
  WRENFALL_RUNTIME_ALL = 31 /**< all of them */
};

/** @cond the parts of the two functions below */

#if !(defined(_M_X64) || defined(__x86_64__)) || defined(_M_ARM64EC)
#error "Wrenfall is for x64 alone."
#endif

#ifdef __cplusplus
#define WRENFALL_RUNTIME_INLINE_ inline
#else
#define WRENFALL_RUNTIME_INLINE_ static __inline
#endif

typedef void (*wrenfall_abort_handler_)(int);

/* What was replaced, and by which bits. */
typedef struct wrenfall_runtime_handlers_ {
  uint32_t installed;
  wrenfall_abort_handler_ on_abort;
  _invalid_parameter_handler on_invalid_parameter;
#ifdef _MSC_VER
  _purecall_handler on_pure_call;
  unsigned abort_behavior;
#endif
#ifdef __cplusplus
  std::terminate_handler on_terminate;
  std::new_handler on_new;
#endif
} wrenfall_runtime_handlers_;

WRENFALL_RUNTIME_INLINE_ wrenfall_runtime_handlers_* wrenfall_runtime_previous_(void) {
  static wrenfall_runtime_handlers_ previous;
  return &previous;
}

/* Does what an exception that nobody handles would do: asks the process's exception filter, which is
 * the library's. RaiseException would search the stack first, and a handler of the host's that takes
 * everything would let a function go on that must not return. */
WRENFALL_RUNTIME_INLINE_ void wrenfall_runtime_report_(uint32_t code) {
  CONTEXT context;
  EXCEPTION_RECORD record;
  EXCEPTION_POINTERS exception;
  /* The filter is not asked under a debugger. */
  if (IsDebuggerPresent()) RaiseException(code, EXCEPTION_NONCONTINUABLE, 0, NULL);
  memset(&context, 0, sizeof context);
  memset(&record, 0, sizeof record);
  RtlCaptureContext(&context);
  record.ExceptionCode = code;
  record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
  memcpy(&record.ExceptionAddress, &context.Rip, sizeof record.ExceptionAddress);
  exception.ExceptionRecord = &record;
  exception.ContextRecord = &context;
  UnhandledExceptionFilter(&exception);
  /* Without the library the filter may come back. */
  for (;;) TerminateProcess(GetCurrentProcess(), code);
}

WRENFALL_RUNTIME_INLINE_ void wrenfall_runtime_on_abort_(int signal_number) {
  (void)signal_number;
  /* The runtime has set the default back, with which another thread's abort would end the process before
   * this report is complete. */
  signal(SIGABRT, wrenfall_runtime_on_abort_);
  wrenfall_runtime_report_(WRENFALL_CODE_ABORT);
}

WRENFALL_RUNTIME_INLINE_ void wrenfall_runtime_on_invalid_parameter_(const wchar_t* expression,
                                                                     const wchar_t* function,
                                                                     const wchar_t* file,
                                                                     unsigned line,
                                                                     uintptr_t reserved) {
  (void)expression, (void)function, (void)file, (void)line, (void)reserved;
  wrenfall_runtime_report_(WRENFALL_CODE_INVALID_PARAMETER);
}

#ifdef _MSC_VER
WRENFALL_RUNTIME_INLINE_ void wrenfall_runtime_on_pure_call_(void) {
  wrenfall_runtime_report_(WRENFALL_CODE_PURE_CALL);
}
#endif

#ifdef __cplusplus
inline void wrenfall_runtime_note_exception_() {
#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
  const std::exception_ptr exception = std::current_exception();
  if (!exception) return;
  try {
    std::rethrow_exception(exception);
  } catch (const std::exception& known) {
    static_cast<void>(wrenfall_set_attribute("wrenfall.what", known.what()));
  } catch (...) {
    // It has no text. Nothing may leave this function: that would be std::terminate again.
  }
#endif
}

inline void wrenfall_runtime_on_terminate_() {
  wrenfall_runtime_note_exception_();
  wrenfall_runtime_report_(WRENFALL_CODE_TERMINATE);
}

inline void wrenfall_runtime_on_new_() { wrenfall_runtime_report_(WRENFALL_CODE_NEW); }

inline void wrenfall_runtime_install_cpp_(wrenfall_runtime_handlers_* previous, uint32_t which) {
  if ((which & WRENFALL_RUNTIME_TERMINATE) != 0) {
    const std::terminate_handler replaced = std::set_terminate(wrenfall_runtime_on_terminate_);
    if (replaced != wrenfall_runtime_on_terminate_) previous->on_terminate = replaced;
  }
  if ((which & WRENFALL_RUNTIME_NEW) != 0) {
    const std::new_handler replaced = std::set_new_handler(wrenfall_runtime_on_new_);
    if (replaced != wrenfall_runtime_on_new_) previous->on_new = replaced;
  }
}

inline void wrenfall_runtime_restore_cpp_(const wrenfall_runtime_handlers_* previous) {
  if ((previous->installed & WRENFALL_RUNTIME_TERMINATE) != 0 &&
      std::get_terminate() == wrenfall_runtime_on_terminate_) {
    std::set_terminate(previous->on_terminate);
  }
  if ((previous->installed & WRENFALL_RUNTIME_NEW) != 0 &&
      std::get_new_handler() == wrenfall_runtime_on_new_) {
    std::set_new_handler(previous->on_new);
  }
}
#endif

/** @endcond */

/**
 * Installs the handlers of some failures, a sum of WRENFALL_RUNTIME_... values, in the runtime of the
 * module that calls, and keeps those that they replace. To be called after wrenfall_init. Another call
 * installs again what other code has replaced.
 *
 * Blocking: no. A handler waits for the dump, as with any crash; that of std::terminate also for
 * wrenfall_set_attribute.
 *
 * Threads: one at a time, this function and wrenfall_restore_runtime_handlers.
 */
WRENFALL_RUNTIME_INLINE_ void wrenfall_install_runtime_handlers(uint32_t which) {
  wrenfall_runtime_handlers_* const previous = wrenfall_runtime_previous_();
  if ((which & WRENFALL_RUNTIME_ABORT) != 0) {
    const wrenfall_abort_handler_ replaced = signal(SIGABRT, wrenfall_runtime_on_abort_);
    if (replaced != wrenfall_runtime_on_abort_) previous->on_abort = replaced;
#ifdef _MSC_VER
    {
      /* No message box, and no fail-fast in place of the signal. A later call finds what the first one
       * has set, and must not keep that. */
      const unsigned behavior = _set_abort_behavior(0, _WRITE_ABORT_MSG | _CALL_REPORTFAULT);
      if ((previous->installed & WRENFALL_RUNTIME_ABORT) == 0) previous->abort_behavior = behavior;
    }
#endif
  }
  if ((which & WRENFALL_RUNTIME_INVALID_PARAMETER) != 0) {
    const _invalid_parameter_handler replaced =
        _set_invalid_parameter_handler(wrenfall_runtime_on_invalid_parameter_);
    if (replaced != wrenfall_runtime_on_invalid_parameter_) {
      previous->on_invalid_parameter = replaced;
    }
  }
#ifdef _MSC_VER
  if ((which & WRENFALL_RUNTIME_PURE_CALL) != 0) {
    const _purecall_handler replaced = _set_purecall_handler(wrenfall_runtime_on_pure_call_);
    if (replaced != wrenfall_runtime_on_pure_call_) previous->on_pure_call = replaced;
  }
#endif
#ifdef __cplusplus
  wrenfall_runtime_install_cpp_(previous, which);
#endif
  previous->installed |= which;
}

/**
 * Gives the runtime of the module that calls the handlers back that were replaced. A handler that
 * other code has set since stays. Does nothing when none is installed. A module that is unloaded and
 * shares its runtime with others must call it before.
 *
 * Blocking: no.
 *
 * Threads: one at a time, this function and wrenfall_install_runtime_handlers.
 */
WRENFALL_RUNTIME_INLINE_ void wrenfall_restore_runtime_handlers(void) {
  wrenfall_runtime_handlers_* const previous = wrenfall_runtime_previous_();
  if ((previous->installed & WRENFALL_RUNTIME_ABORT) != 0) {
    const wrenfall_abort_handler_ current = signal(SIGABRT, previous->on_abort);
    if (current != wrenfall_runtime_on_abort_) signal(SIGABRT, current);
#ifdef _MSC_VER
    _set_abort_behavior(previous->abort_behavior, _WRITE_ABORT_MSG | _CALL_REPORTFAULT);
#endif
  }
  if ((previous->installed & WRENFALL_RUNTIME_INVALID_PARAMETER) != 0) {
    const _invalid_parameter_handler current =
        _set_invalid_parameter_handler(previous->on_invalid_parameter);
    if (current != wrenfall_runtime_on_invalid_parameter_) _set_invalid_parameter_handler(current);
  }
#ifdef _MSC_VER
  if ((previous->installed & WRENFALL_RUNTIME_PURE_CALL) != 0) {
    const _purecall_handler current = _set_purecall_handler(previous->on_pure_call);
    if (current != wrenfall_runtime_on_pure_call_) _set_purecall_handler(current);
  }
#endif
#ifdef __cplusplus
  wrenfall_runtime_restore_cpp_(previous);
#endif
  previous->installed = 0;
}

#endif /* WRENFALL_RUNTIME_FAILURES_H_ */
