#ifndef WRENFALL_COMPANIONS_MONITOR_DATABASE_USE_WIN_H_
#define WRENFALL_COMPANIONS_MONITOR_DATABASE_USE_WIN_H_

#include <filesystem>

#include "support/win_handle.h"

namespace wrenfall::monitor {

// Says that this process and its handler use the database, until both have closed the file that this
// returns: a handler inherits it. Empty when the file cannot be opened.
//
// Where nobody else uses the database, first removes what a handler notes about its dumps there. It
// would grow with every dump for ever, because the dumps are taken away and the notes stay. A handler
// makes the file again.
ScopedFile use_database(const std::filesystem::path& database);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_DATABASE_USE_WIN_H_
