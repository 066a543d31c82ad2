#ifndef WRENFALL_FALLBACK_CLIENT_CRASH_FILTER_WIN_H_
#define WRENFALL_FALLBACK_CLIENT_CRASH_FILTER_WIN_H_

#include <windows.h>

#include <memory>

#include "client/crash_connection_win.h"

namespace crashpad::internal {

// Makes `connection` the one that crashes and dumps go to and installs the process's crash
// handling: the unhandled exception filter, the abort signal, heap corruption. Tells an earlier
// connection's handler to stop; a dump on demand that is under way keeps that connection until it
// has its answer.
void direct_crashes_to(std::unique_ptr<CrashConnection> connection);

// What RegisterWerModule() gives to the system. It is there from the process's start to its end and
// follows the connection in charge.
WerRegistration* wer_registration();

// See CrashpadClient::DumpWithoutCrash().
void dump_without_crash(const CONTEXT& context);

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_CLIENT_CRASH_FILTER_WIN_H_
