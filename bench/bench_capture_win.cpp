// Start, capture and crash beside what the bare capture client takes for them.
//   bench_capture                       measures
//   bench_capture crash library|bare DIR  starts, notes the time in DIR and crashes
#include <windows.h>
// After <windows.h>.
#include <client/crashpad_client.h>
#include <wrenfall/wrenfall.h>

#include <cstring>
#include <fstream>
#include <thread>

#include "bench/bench.h"
#include "bench/library.h"
#include "support/files.h"
#include "support/paths.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

int64_t system_time() {
  FILETIME now{};
  GetSystemTimePreciseAsFileTime(&now);
  return static_cast<int64_t>((uint64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime);
}

void start_bare(const fs::path& program, const fs::path& store) {
  // Lives on, as its handler serves the process until the next one starts.
  auto& client = *new crashpad::CrashpadClient;
  const std::map<std::string, std::string> annotations = {
      {"wrenfall.store", store.u8string()},
      {"wrenfall.session", std::to_string(GetCurrentProcessId()) + "-1"}};
  const base::FilePath database((store / "crashpad").wstring());
  if (client.StartHandler(base::FilePath(program.wstring()), database, database, "", annotations,
                          {"--no-periodic-tasks", "--no-rate-limit"}, true, false)) {
    return;
  }
  std::fprintf(stderr, "StartHandler failed\n");
  std::exit(1);
}

// The session file and the log lines of an init.
void write_init_files(const fs::path& store) {
  wrenfall::write_file_atomic(store / "sessions" / "bare.json", "{}");
  for (int i = 0; i < 4; ++i) wrenfall::append_to_file(store / "bare.log", std::string(100, 'l'));
}

void bench_init(const fs::path& folder) {
  // The time of an init alone: the shutdowns in between do not count.
  for (const auto& [program, name, budget] :
       {std::tuple{wrenfall::kHandlerExecutable, "wrenfall_init", 1.15},
        std::tuple{wrenfall::kMonitorExecutable, "wrenfall_init beside a bare start of the monitor",
                   1.15}}) {
    std::vector<double> limits, roads, ratios;
    for (int round = 0; round < 11; ++round) {
      limits.push_back(bench::time_of(
          [&] {
            write_init_files(folder / "bare");
            start_bare(wrenfall::application_dir() / program, folder / "bare");
          },
          1));
      roads.push_back(bench::time_of([&] { bench::start_library(folder / "library"); }, 1));
      ratios.push_back(roads.back() / limits.back());
      wrenfall_shutdown();
    }
    bench::print(name, 1, bench::median(limits), bench::median(roads), bench::median(ratios),
                 budget);
  }
}

void bench_capture(const fs::path& folder) {
  bench::start_library(folder / "captures");
  bench::compare(
      "wrenfall_capture_report", 1, 1.05, {11, 1},
      [] {
        CONTEXT context{};
        RtlCaptureContext(&context);
        crashpad::CrashpadClient::DumpWithoutCrash(context);
      },
      [] { wrenfall_capture_report(); });
  wrenfall_shutdown();
}

// A file anywhere below the folder that can be opened by nobody else at the same time.
bool is_there(const fs::path& folder, const std::string& ending) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder, error)) {
    const std::string name = entry.path().filename().u8string();
    if (name.size() < ending.size() ||
        name.compare(name.size() - ending.size(), ending.size(), ending) != 0) {
      continue;
    }
    const HANDLE file = CreateFileW(entry.path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) continue;
    CloseHandle(file);
    return true;
  }
  return false;
}

// Milliseconds from the crash of a child until the file is complete; below 0 when it never is.
double crash_until(const std::string& how, const std::string& ending, const fs::path& folder) {
  std::error_code error;
  fs::remove_all(folder, error);
  fs::create_directories(folder);
  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring command = L"\"" + std::wstring(self) + L"\" crash " + fs::path(how).wstring() +
                         L" \"" + folder.wstring() + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION child{};
  if (!CreateProcessW(self, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &child)) {
    return -1;
  }
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  bool complete = false;
  while (!complete && std::chrono::steady_clock::now() < limit) {
    complete = is_there(folder / "store", ending);
    if (!complete) std::this_thread::sleep_for(milliseconds(1));
  }
  const int64_t end = system_time();
  WaitForSingleObject(child.hProcess, 60000);
  CloseHandle(child.hThread);
  CloseHandle(child.hProcess);
  int64_t begin = 0;
  std::ifstream(folder / "time") >> begin;
  return complete && begin != 0 ? static_cast<double>(end - begin) / 10000 : -1;
}

// 100 ns units; 0 when the file is not there.
int64_t written_at(const fs::path& file) { return wrenfall::file_write_time(file).value_or(0); }

// Milliseconds from the end of the dump to the end of the report folder that it is in.
double dump_to_record(const fs::path& store) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(store, error)) {
    const int64_t record = written_at(entry.path() / "WrenfallCrashData.json");
    const int64_t dump = written_at(entry.path() / "minidump.dmp");
    if (record != 0 && dump != 0) return static_cast<double>(record - dump) / 10000;
  }
  return -1;
}

void bench_crash(const fs::path& folder) {
  std::vector<double> bare, library, added;
  for (int round = 0; round < 9; ++round) {
    const double dump = crash_until("bare", ".dmp", folder / "crash");
    const double record = crash_until("library", "WrenfallCrashData.json", folder / "crash");
    if (dump < 0 || record < 0) continue;
    bare.push_back(dump * 1e6);
    library.push_back(record * 1e6);
    added.push_back(dump_to_record(folder / "crash" / "store"));
  }
  if (added.empty()) return;
  bench::print("crash to complete report folder, beside crash to complete dump", 1,
               bench::median(bare), bench::median(library),
               bench::median(library) / bench::median(bare), bench::kNoBudget);
  bench::print_figure("complete dump to complete report folder", bench::median(added), "ms", 50);
}

int crash(const char* how, const fs::path& folder) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  if (std::strcmp(how, "library") == 0) {
    bench::start_library(folder / "store");
  } else {
    start_bare(wrenfall::application_dir() / wrenfall::kHandlerExecutable, folder / "store");
  }
  std::ofstream(folder / "time") << system_time();
  volatile int* const nowhere = nullptr;
  *nowhere = 1;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4) return crash(argv[2], fs::path(argv[3]));
  const bench::Folder folder("capture");
  bench_init(folder.path());
  bench_capture(folder.path());
  bench_crash(folder.path());
  return 0;
}
