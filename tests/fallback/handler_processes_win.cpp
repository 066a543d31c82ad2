#include "handler_processes_win.h"

// Needs <windows.h> first.
#include <tlhelp32.h>

#include <map>

std::vector<DWORD> handlers_of(DWORD client) {
  std::map<DWORD, DWORD> parents;
  std::vector<DWORD> handlers;
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Process32FirstW(snapshot, &entry); more;
       more = Process32NextW(snapshot, &entry)) {
    parents[entry.th32ProcessID] = entry.th32ParentProcessID;
    if (_wcsicmp(entry.szExeFile, L"crashpad_handler.exe") == 0) {
      handlers.push_back(entry.th32ProcessID);
    }
  }
  CloseHandle(snapshot);
  std::vector<DWORD> own;
  for (const DWORD handler : handlers) {
    const DWORD parent = parents[handler];
    if (parent == client || parents[parent] == client) own.push_back(handler);
  }
  return own;
}

bool end_process(DWORD process_id) {
  const HANDLE process = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, process_id);
  if (process == nullptr) return false;
  const bool ended = TerminateProcess(process, 99) != FALSE;
  if (ended) WaitForSingleObject(process, INFINITE);
  CloseHandle(process);
  return ended;
}
