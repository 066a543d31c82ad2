#ifndef WRENFALL_SUPPORT_PROCESS_LIST_WIN_H_
#define WRENFALL_SUPPORT_PROCESS_LIST_WIN_H_

#include <windows.h>

// Needs <windows.h> first.
#include <tlhelp32.h>

#include <string>
#include <vector>

#include "support/win_handle.h"

namespace wrenfall {

// The running processes of the system; none when it does not tell.
inline std::vector<PROCESSENTRY32W> list_processes() {
  std::vector<PROCESSENTRY32W> processes;
  const ScopedFile snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  if (!snapshot) return processes;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32FirstW(snapshot.get(), &entry); more;
       more = Process32NextW(snapshot.get(), &entry)) {
    processes.push_back(entry);
  }
  return processes;
}

// Whether the process was started by that one and runs the program of that name.
inline bool is_child(const PROCESSENTRY32W& process, DWORD parent, const std::wstring& program) {
  return process.th32ParentProcessID == parent &&
         CompareStringOrdinal(process.szExeFile, -1, program.c_str(), -1, TRUE) == CSTR_EQUAL;
}

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_PROCESS_LIST_WIN_H_
