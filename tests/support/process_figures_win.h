#ifndef WRENFALL_TESTS_SUPPORT_PROCESS_FIGURES_WIN_H_
#define WRENFALL_TESTS_SUPPORT_PROCESS_FIGURES_WIN_H_

#include <windows.h>
// After <windows.h>, on which it builds.
#include <tlhelp32.h>

#include <chrono>
#include <functional>
#include <map>
#include <vector>

// What a process holds, for tests that look for leaks.

// Asks for each value that a handle can have: GetProcessHandleCount always says 0 under Wine.
inline int count_handles() {
  int count = 0;
  for (UINT_PTR value = 4; value < 0x4000; value += 4) {
    DWORD flags = 0;
    if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) ++count;
  }
  return count;
}

// Committed memory that is the process's alone, summed up: GetProcessMemoryInfo says 0 under Wine.
inline long private_kib(HANDLE process) {
  size_t total = 0;
  MEMORY_BASIC_INFORMATION memory{};
  for (const char* at = nullptr; VirtualQueryEx(process, at, &memory, sizeof memory) != 0;
       at = static_cast<const char*>(memory.BaseAddress) + memory.RegionSize) {
    if (memory.State == MEM_COMMIT && memory.Type == MEM_PRIVATE) total += memory.RegionSize;
  }
  return static_cast<long>(total / 1024);
}

struct Family {
  std::vector<DWORD> descendants;  // the ids of this process's children and their children
  long threads = 0;                // of this process
};

inline Family family() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  const DWORD self = GetCurrentProcessId();
  Family found;
  std::map<DWORD, DWORD> parents;
  for (BOOL more = Process32FirstW(snapshot, &entry); more;
       more = Process32NextW(snapshot, &entry)) {
    parents[entry.th32ProcessID] = entry.th32ParentProcessID;
    if (entry.th32ProcessID == self) found.threads = static_cast<long>(entry.cntThreads);
  }
  CloseHandle(snapshot);
  for (const auto& [process, parent] : parents) {
    const auto above = parents.find(parent);
    if (parent == self || (above != parents.end() && above->second == self)) {
      found.descendants.push_back(process);
    }
  }
  return found;
}

inline bool wait_for(const std::function<bool()>& condition, int limit_seconds = 30) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + std::chrono::seconds(limit_seconds);
  while (!condition()) {
    if (Clock::now() > end) return false;
    Sleep(50);
  }
  return true;
}

#endif  // WRENFALL_TESTS_SUPPORT_PROCESS_FIGURES_WIN_H_
