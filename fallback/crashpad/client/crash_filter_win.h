#ifndef WRENFALL_FALLBACK_CLIENT_CRASH_FILTER_WIN_H_
#define WRENFALL_FALLBACK_CLIENT_CRASH_FILTER_WIN_H_

#include <windows.h>

#include <memory>

#include "client/crash_connection_win.h"

namespace crashpad::internal {

// Directs crashes and dumps on demand to `connection`, and installs the process's crash handling: the
// unhandled exception filter, the abort signal, heap corruption. Tells the handler of an earlier
// connection to stop; a dump on demand that is under way keeps that connection alive until it is
// answered.
void direct_crashes_to(std::unique_ptr<CrashConnection, CrashConnection::Deleter> connection);

// What RegisterWerModule() gives to the system, brought up to date with the options of this moment. It
// exists from the start to the end of the process and always describes the connection in force.
WerRegistration* prepare_wer_registration();

// See CrashpadClient::DumpWithoutCrash().
void dump_without_crash(const CONTEXT& context);

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_CLIENT_CRASH_FILTER_WIN_H_
