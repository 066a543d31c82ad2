// Start, capture and crash beside what the bare capture client takes for them.
//   bench_capture                               measures
//   bench_capture crash library|bare|child DIR  starts, notes the time in DIR and crashes
//   bench_capture dump SECTION FILE             dumps the process that started it, when that crashes
#include <windows.h>
// After <windows.h>.
#include <client/crashpad_client.h>
#include <dbghelp.h>
#include <wrenfall/wrenfall.h>

#include <cstring>
#include <fstream>
#include <thread>

#include "bench/bench.h"
#include "bench/library.h"
#include "support/files.h"
#include "support/paths.h"
#include "support/text.h"

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

// Is there when the client is the stand-in's.
constexpr const char* kAnsweringHandler = "answering_handler.exe";

int64_t system_time() {
  FILETIME now{};
  GetSystemTimePreciseAsFileTime(&now);
  return static_cast<int64_t>((uint64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime);
}

void start_bare(const fs::path& program, const fs::path& store) {
  // Lives on, as its handler serves the process until the next one starts.
  auto& client = *new crashpad::CrashpadClient;
  const std::map<std::string, std::string> annotations = {
      {"wrenfall.store", wrenfall::path_to_utf8(store)},
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
       {std::tuple{wrenfall::kHandlerExecutable, "wrenfall_init", bench::kNoBudget},
        std::tuple{kAnsweringHandler, "wrenfall_init beside a handler that only answers",
                   bench::kNoBudget},
        std::tuple{wrenfall::kMonitorExecutable, "wrenfall_init beside a bare start of the monitor",
                   1.15}}) {
    const fs::path bare = wrenfall::application_dir() / program;
    if (!fs::exists(bare)) continue;
    bench::Rounds times;
    for (int round = 0; round < 11; ++round) {
      times.limits.push_back(bench::time_of(
          [&] {
            write_init_files(folder / "bare");
            start_bare(bare, folder / "bare");
          },
          1));
      times.operations.push_back(
          bench::time_of([&] { bench::start_library(folder / "library"); }, 1));
      wrenfall_shutdown();
    }
    bench::print(name, 1, budget, times);
  }
}

void dump_bare() {
  CONTEXT context{};
  RtlCaptureContext(&context);
  crashpad::CrashpadClient::DumpWithoutCrash(context);
}

void bench_capture(const fs::path& folder) {
  bench::start_library(folder / "captures");
  bench::compare("wrenfall_capture_report", 1, 1.05, {11, 1}, dump_bare,
                 [] { wrenfall_capture_report(); });
  std::vector<double> captures;
  for (int i = 0; i < 11; ++i) {
    captures.push_back(bench::time_of([] { wrenfall_capture_report(); }, 1));
  }
  wrenfall_shutdown();
  if (!fs::exists(wrenfall::application_dir() / kAnsweringHandler)) return;
  // One client serves a process, so these cannot take turns with the library's.
  start_bare(wrenfall::application_dir() / kAnsweringHandler, folder / "bare");
  bench::Rounds times;
  times.operations = captures;
  for (size_t i = 0; i < captures.size(); ++i) times.limits.push_back(bench::time_of(dump_bare, 1));
  bench::print("wrenfall_capture_report beside a handler that only answers", 1, bench::kNoBudget,
               times);
}

// The process; null when it did not start.
HANDLE run_self(const std::wstring& arguments, bool inherit) {
  wchar_t self[MAX_PATH];
  GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring command = L"\"" + std::wstring(self) + L"\" " + arguments;
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(self, command.data(), nullptr, nullptr, inherit, 0, nullptr, nullptr,
                      &startup, &process)) {
    return nullptr;
  }
  CloseHandle(process.hThread);
  return process.hProcess;
}

// A file anywhere below the folder that can be opened by nobody else at the same time.
bool is_there(const fs::path& folder, const std::string& ending) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder, error)) {
    const std::string name = wrenfall::path_to_utf8(entry.path().filename());
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
  const HANDLE child =
      run_self(L"crash " + fs::path(how).wstring() + L" \"" + folder.wstring() + L"\"", false);
  if (child == nullptr) return -1;
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  bool complete = false;
  while (!complete && std::chrono::steady_clock::now() < limit) {
    complete = is_there(folder / "store", ending);
    if (!complete) std::this_thread::sleep_for(milliseconds(1));
  }
  const int64_t end = system_time();
  WaitForSingleObject(child, 60000);
  CloseHandle(child);
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
  bench::Rounds beside_handler, beside_child;
  std::vector<double> added;
  for (int round = 0; round < 9; ++round) {
    const double bare = crash_until("bare", ".dmp", folder / "crash");
    const double child = crash_until("child", ".dmp", folder / "crash");
    const double record = crash_until("library", "WrenfallCrashData.json", folder / "crash");
    if (bare < 0 || child < 0 || record < 0) continue;
    beside_handler.limits.push_back(bare * 1e6);
    beside_handler.operations.push_back(record * 1e6);
    beside_child.limits.push_back(child * 1e6);
    added.push_back(dump_to_record(folder / "crash" / "store"));
  }
  if (added.empty()) return;
  beside_child.operations = beside_handler.operations;
  bench::print("crash to complete report folder, beside crash to complete dump", 1,
               bench::kNoBudget, beside_handler);
  bench::print("crash to complete report folder, beside MiniDumpWriteDump in a child", 1, 1,
               beside_child);
  bench::print_figure("complete dump to complete report folder", bench::median(added), "ms", 50);
}

// What a child of a crashed process needs to dump it.
struct CrashedParent {
  HANDLE process;  // inherited
  HANDLE crashed;  // inherited event
  HANDLE dumped;   // inherited event
  DWORD thread;
  EXCEPTION_POINTERS* exception;  // in the parent
};
CrashedParent* shared_with_child = nullptr;

LONG WINAPI let_child_dump(EXCEPTION_POINTERS* exception) {
  shared_with_child->thread = GetCurrentThreadId();
  shared_with_child->exception = exception;
  SetEvent(shared_with_child->crashed);
  WaitForSingleObject(shared_with_child->dumped, 60000);
  return EXCEPTION_EXECUTE_HANDLER;
}

// Starts a child that waits for the crash of this process, the simplest capture out of process.
void start_dumping_child(const fs::path& folder) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  const HANDLE section = CreateFileMappingW(INVALID_HANDLE_VALUE, &inherited, PAGE_READWRITE, 0,
                                            sizeof(CrashedParent), nullptr);
  shared_with_child = static_cast<CrashedParent*>(MapViewOfFile(section, FILE_MAP_WRITE, 0, 0, 0));
  shared_with_child->crashed = CreateEventW(&inherited, FALSE, FALSE, nullptr);
  shared_with_child->dumped = CreateEventW(&inherited, FALSE, FALSE, nullptr);
  DuplicateHandle(GetCurrentProcess(), GetCurrentProcess(), GetCurrentProcess(),
                  &shared_with_child->process, 0, TRUE, DUPLICATE_SAME_ACCESS);
  fs::create_directories(folder / "store");
  run_self(L"dump " + std::to_wstring(reinterpret_cast<uintptr_t>(section)) + L" \"" +
               (folder / "store" / "bare.dmp").wstring() + L"\"",
           true);
  SetUnhandledExceptionFilter(let_child_dump);
}

int dump_parent(const char* section, const fs::path& file) {
  const auto* const parent = static_cast<const CrashedParent*>(
      MapViewOfFile(reinterpret_cast<HANDLE>(static_cast<uintptr_t>(std::stoull(section))),
                    FILE_MAP_WRITE, 0, 0, 0));
  const HANDLE waits[] = {parent->crashed, parent->process};
  if (WaitForMultipleObjects(2, waits, FALSE, INFINITE) != WAIT_OBJECT_0) return 1;
  const HANDLE output =
      CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  MINIDUMP_EXCEPTION_INFORMATION exception{parent->thread, parent->exception, TRUE};
  const BOOL done = MiniDumpWriteDump(parent->process, GetProcessId(parent->process), output,
                                      MiniDumpNormal, &exception, nullptr, nullptr);
  CloseHandle(output);
  SetEvent(parent->dumped);
  return done ? 0 : 1;
}

int crash(const char* how, const fs::path& folder) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  if (std::strcmp(how, "library") == 0) {
    bench::start_library(folder / "store");
  } else if (std::strcmp(how, "child") == 0) {
    start_dumping_child(folder);
  } else {
    start_bare(wrenfall::application_dir() / wrenfall::kHandlerExecutable, folder / "store");
  }
  Sleep(200);  // until each of them waits for the crash
  std::ofstream(folder / "time") << system_time();
  volatile int* const nowhere = nullptr;
  *nowhere = 1;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "crash") == 0) return crash(argv[2], fs::path(argv[3]));
  if (argc == 4) return dump_parent(argv[2], fs::path(argv[3]));
  const bench::Folder folder("capture");
  bench_init(folder.path());
  bench_capture(folder.path());
  bench_crash(folder.path());
  return 0;
}
