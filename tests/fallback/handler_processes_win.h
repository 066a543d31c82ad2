#ifndef WRENFALL_TESTS_FALLBACK_HANDLER_PROCESSES_WIN_H_
#define WRENFALL_TESTS_FALLBACK_HANDLER_PROCESSES_WIN_H_

#include <windows.h>

#include <vector>

// The crashpad_handler.exe processes that a client started, itself or through an intermediary.
std::vector<DWORD> handlers_of(DWORD client);

// False when the process could not be ended.
bool end_process(DWORD process_id);

#endif  // WRENFALL_TESTS_FALLBACK_HANDLER_PROCESSES_WIN_H_
