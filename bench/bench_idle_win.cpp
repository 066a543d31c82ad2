// What the library takes while nothing happens: memory, processor time of the hang detection, disk.
#include <windows.h>
// After <windows.h>.
#include <wrenfall/wrenfall.h>

#include <cstdlib>
#include <filesystem>

#include "bench/bench.h"
#include "bench/library.h"
#include "tests/support/process_figures_win.h"

namespace {

namespace fs = std::filesystem;

constexpr double kMiB = 1024.0 * 1024.0;

double private_mib() { return static_cast<double>(private_kib(GetCurrentProcess())) / 1024; }

// 100 ns units, kernel and user.
double processor_time() {
  FILETIME created{}, ended{}, kernel{}, user{};
  GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
  return static_cast<double>(kernel.dwLowDateTime) + static_cast<double>(user.dwLowDateTime);
}

double size_mib(const fs::path& file) {
  std::error_code error;
  const auto size = fs::file_size(file, error);
  return error ? 0 : static_cast<double>(size) / kMiB;
}

// Of the processes that the library started.
double companions_mib() {
  double total = 0;
  for (const DWORD id : family().descendants) {
    const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, id);
    if (process == nullptr) continue;
    total += static_cast<double>(private_kib(process)) / 1024;
    CloseHandle(process);
  }
  return total;
}

DWORD WINAPI wait_for_event(void* event) { return WaitForSingleObject(event, INFINITE); }

// What the system takes for threads like the library's two, that for dumps and that for hangs.
double two_threads_mib() {
  const double before = private_mib();
  const HANDLE end = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  const HANDLE threads[] = {CreateThread(nullptr, 256 * 1024, wait_for_event, end,
                                         STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr),
                            CreateThread(nullptr, 0, wait_for_event, end, 0, nullptr)};
  const double added = private_mib() - before;
  SetEvent(end);
  WaitForMultipleObjects(2, threads, TRUE, INFINITE);
  for (const HANDLE handle : {threads[0], threads[1], end}) CloseHandle(handle);
  return added;
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc == 2 ? std::atoi(argv[1]) : 30;
  wchar_t library[MAX_PATH];
  GetModuleFileNameW(GetModuleHandleW(L"Wrenfall.dll"), library, MAX_PATH);
  const fs::path folder = fs::path(library).parent_path();
  bench::print_figure("size of Wrenfall.dll", size_mib(library), "MiB", 1.5);
  bench::print_figure("shipped without reporter and tools",
                      size_mib(library) + size_mib(folder / "WrenfallMonitor.exe") +
                          size_mib(folder / "crashpad_handler.exe") +
                          size_mib(folder / "WrenfallWer.dll"),
                      "MiB", bench::kNoBudget);
  bench::print_figure("private bytes of two threads that do nothing", two_threads_mib(), "MiB",
                      bench::kNoBudget);
  const int handles = count_handles();
  const double before = private_mib();
  bench::Library running("idle", 1000);
  bench::print_figure("private bytes added by wrenfall_init", private_mib() - before, "MiB", 4);
  bench::print_figure("private bytes of all processes over a bare host",
                      private_mib() - before + companions_mib(), "MiB", bench::kNoBudget);
  bench::print_figure("handles added by wrenfall_init", count_handles() - handles, "",
                      bench::kNoBudget);
  // The first look for windows loads the system's driver.
  Sleep(3000);
  const double begin = processor_time();
  Sleep(static_cast<DWORD>(seconds) * 1000);
  const double used = processor_time() - begin;
  bench::print_figure("hang detection at 1000 ms without windows", used / (seconds * 1e7) * 100,
                      "% of a core", 0.1);
  return 0;
}
