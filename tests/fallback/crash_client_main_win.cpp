// A program that crashes, or asks for dumps, in the way its first argument names:
//   fallback_crash_client SCENARIO HANDLER DATABASE
// It exits with 0 when a scenario that does not crash went as expected, else with the number of the
// step that did not; a crash ends it with the exception's code.

#include <client/crashpad_client.h>
#include <windows.h>

#include <string>
#include <vector>

#include "handler_processes_win.h"

namespace {

using crashpad::CrashpadClient;

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

void dump() {
  CONTEXT context = {};
  RtlCaptureContext(&context);
  CrashpadClient::DumpWithoutCrash(context);
}

std::vector<DWORD> own_handlers() { return handlers_of(GetCurrentProcessId()); }

void kill_handler() {
  const std::vector<DWORD> handlers = own_handlers();
  expect(handlers.size() == 1, 20);
  expect(end_process(handlers[0]), 21);
}

void run_scenario(const std::string& scenario, const base::FilePath& handler,
                  const base::FilePath& database) {
  const bool asynchronous = scenario == "asynchronous";
  // Large dumps take long enough to be interrupted.
  const char* const type = scenario == "dump_until_killed" ? "full" : "normal";
  expect(CrashpadClient().StartHandler(handler, database, database, "",
                                       {{"wrenfall.dumpType", type}}, {}, true, asynchronous),
         10);
  if (asynchronous) crash();
  if (scenario == "dump_until_killed") {
    while (!own_handlers().empty()) dump();
    return;
  }
  if (scenario == "killed_handler") {
    kill_handler();
    dump();
    dump();
  }
  crash();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc != 4) return 41;
  run_scenario(narrow(argv[1]), base::FilePath(argv[2]), base::FilePath(argv[3]));
  return 0;
}
