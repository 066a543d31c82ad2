// A program that crashes, or asks for dumps, in the way its first argument names:
//   fallback_crash_client SCENARIO HANDLER DATABASE
// It exits with 0 when a scenario that does not crash went as expected, else with the number of the
// step that did not; a crash ends it with the exception's code.

#include <client/annotation.h>
#include <client/crashpad_client.h>
#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "handler_processes_win.h"

namespace {

using crashpad::Annotation;
using crashpad::CrashpadClient;

struct LiveValue {
  LiveValue(const char* name_text, const char* value_text)
      : annotation(Annotation::Type::kString, name, value) {
    std::strncpy(name, name_text, sizeof(name) - 1);
    std::strncpy(value, value_text, sizeof(value) - 1);
    annotation.SetSize(static_cast<uint32_t>(std::strlen(value)));
  }
  char name[Annotation::kNameMaxLength] = {};
  char value[Annotation::kValueMaxSize] = {};
  Annotation annotation;
};

// A run of the program. The objects that dumps refer to live until the process ends.
struct Run {
  std::wstring handler;
  std::wstring database;

  bool start(const char* run_name, const char* dump_type = "normal",
             bool asynchronous = false) const {
    const std::map<std::string, std::string> annotations = {
        {"run", run_name},
        {"words", "two words, a \"quote\" and a \\\" mix"},
        {"path", "C:\\my folder\\"},
        {"utf-8", "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"empty", ""},
        {"equals", "a=b"},
        {"wrenfall.dumpType", dump_type},
        {"wrenfall.minidumpFlags", "0"},
    };
    CrashpadClient client;
    return client.StartHandler(base::FilePath(handler), base::FilePath(database),
                               base::FilePath(database), "", annotations,
                               {"--no-periodic-tasks", "--no-rate-limit"}, true, asynchronous);
  }
};

std::string narrow(const std::wstring& ascii) {
  std::string text;
  for (const wchar_t c : ascii) text.push_back(static_cast<char>(c));
  return text;
}

[[noreturn]] void fail(int step) { ExitProcess(static_cast<UINT>(step)); }

void expect(bool condition, int step) {
  if (!condition) fail(step);
}

void crash() {
  volatile int* const nowhere = nullptr;
  *nowhere = 1;
}

// The system's limit on the depth is the only one. Volatile, so that no compiler makes it a loop.
int overflow(int depth) {
  int (*volatile deeper)(int) = &overflow;
  volatile char block[512] = {};
  block[0] = static_cast<char>(depth);
  return deeper(depth + 1) + block[0];
}

void dump() {
  CONTEXT context = {};
  RtlCaptureContext(&context);
  CrashpadClient::DumpWithoutCrash(context);
}

// Keeps 32 KiB for the report of a stack overflow. Wine 8 notes the wish but leaves the guard page
// at the very end of the stack, where not even an exception's dispatch fits behind it, so there it
// is moved to where Windows has it.
void guarantee_stack() {
  ULONG guarantee = 32768;
  expect(SetThreadStackGuarantee(&guarantee) != FALSE, 25);
  if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr) return;
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  DWORD protection = 0;
  expect(VirtualProtect(reinterpret_cast<void*>(low + 32768), 4096, PAGE_READWRITE | PAGE_GUARD,
                        &protection) != FALSE,
         26);
}

std::vector<DWORD> own_handlers() { return handlers_of(GetCurrentProcessId()); }

void kill_handler() {
  const std::vector<DWORD> handlers = own_handlers();
  expect(handlers.size() == 1, 20);
  expect(end_process(handlers[0]), 21);
}

void wait_for_one_handler() {
  for (int i = 0; i < 100; ++i) {
    if (own_handlers().size() == 1) return;
    Sleep(100);
  }
  fail(22);
}

// Makes SetUnhandledExceptionFilter do nothing but return null.
void patch_filter_setter() {
  auto* const code = reinterpret_cast<unsigned char*>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetUnhandledExceptionFilter")));
  DWORD protection = 0;
  expect(VirtualProtect(code, 3, PAGE_EXECUTE_READWRITE, &protection) != FALSE, 23);
  std::memcpy(code, "\x33\xC0\xC3", 3);
  FlushInstructionCache(GetCurrentProcess(), code, 3);
  expect(SetUnhandledExceptionFilter(nullptr) == nullptr, 24);
}

LONG WINAPI own_filter(EXCEPTION_POINTERS*) { return EXCEPTION_EXECUTE_HANDLER; }

DWORD handle_count() {
  DWORD count = 0;
  expect(GetProcessHandleCount(GetCurrentProcess(), &count) != FALSE, 30);
  return count;
}

// A handler that cannot start or cannot get ready leaves no handle and no filter behind.
void expect_start_to_fail(const Run& run) {
  SetUnhandledExceptionFilter(&own_filter);
  expect(!run.start("1"), 31);  // Loads what the system loads once.
  const DWORD before = handle_count();
  for (int i = 0; i < 3; ++i) expect(!run.start("1"), 32);
  expect(handle_count() == before, 33);
  expect(SetUnhandledExceptionFilter(nullptr) == &own_filter, 34);
  expect(own_handlers().empty(), 35);
}

void crash_in_threads() {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(&crash);
  for (std::thread& thread : threads) thread.join();
}

void run_restart(const Run& run) {
  expect(run.start("1"), 10);
  dump();
  const DWORD before = handle_count();
  patch_filter_setter();
  for (const char* name : {"2", "3"}) expect(run.start(name), 11);
  wait_for_one_handler();
  expect(handle_count() == before, 12);
  crash();
}

const char* dump_type_of(const std::string& scenario) {
  if (scenario == "full" || scenario == "dump_until_killed") return "full";
  return scenario == "heap" ? "heap" : "normal";
}

void run_scenario(const std::string& scenario, const Run& run) {
  if (scenario == "start_fails") return expect_start_to_fail(run);
  if (scenario == "restart") return run_restart(run);
  if (scenario == "asynchronous") {
    expect(run.start("1", "normal", true), 10);
    crash();
  }
  expect(run.start("1", dump_type_of(scenario)), 10);
  if (scenario == "crash" || scenario == "full" || scenario == "heap") crash();
  if (scenario == "abort") std::abort();
  if (scenario == "threads") crash_in_threads();
  if (scenario == "worker") std::thread(&crash).join();
  if (scenario == "heap_corruption") {
    RaiseException(0xC0000374, EXCEPTION_NONCONTINUABLE, 0, nullptr);
  }
  if (scenario == "stack_overflow") {
    guarantee_stack();
    fail(overflow(0));
  }
  if (scenario == "dump_twice") {
    expect(CrashpadClient().RegisterWerModule(run.handler), 13);
    dump();
    dump();
    return;
  }
  if (scenario == "dump_until_killed") {
    while (!own_handlers().empty()) dump();
    return;
  }
  if (scenario == "killed_handler") {
    kill_handler();
    dump();
    dump();
    crash();
  }
  fail(40);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc != 4) return 41;
  const LiveValue older("older", "first value");
  LiveValue cleared("cleared", "never seen");
  const LiveValue newer("newer", "second \"value\"");
  cleared.annotation.Clear();

  const Run run = {argv[2], argv[3]};
  run_scenario(narrow(argv[1]), run);
  return 0;
}
