#ifndef WRENFALL_COMPANIONS_REPORTER_PROCESS_CONTEXT_WIN_H_
#define WRENFALL_COMPANIONS_REPORTER_PROCESS_CONTEXT_WIN_H_

namespace wrenfall::reporter {

// Whether this process has an administrator's full rights, which it has from the host. A program that
// it starts, such as a browser, would have them too. False where the system does not tell.
bool is_elevated();

// Whether this process runs in session 0, that of services, which no user ever sees. False where the
// system does not tell.
bool is_in_session_zero();

}  // namespace wrenfall::reporter

#endif  // WRENFALL_COMPANIONS_REPORTER_PROCESS_CONTEXT_WIN_H_
