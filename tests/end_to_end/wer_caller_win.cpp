// Plays the part of Windows Error Reporting, which Wine does not have: waits for an exception of a
// running process that no filter sees, and then gives it to the helper module.
//   wer_caller MODULE PROCESS CONTEXT CODE
// CONTEXT is what the process has registered the module with. With a CODE other than 0 the module
// is told that one. One line for each call of the module: its name, the result, and whether it has
// claimed the crash. The hostile calls come first.
#include "wer/werapi_win.h"
// These need <windows.h> first.
#include <shellapi.h>
#include <util/win/registration_protocol_win_structs.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>

namespace {

constexpr DWORD kFailFast = 0xC0000409;
constexpr DWORD kTimeoutMs = 60000;

using crashpad::WerRegistration;
using Information = WER_RUNTIME_EXCEPTION_INFORMATION;

void set_fatal(Information* information, BOOL fatal) {
  constexpr size_t kPlace = offsetof(Information, pwszReportId) + sizeof(PCWSTR);
  std::memcpy(reinterpret_cast<char*>(information) + kPlace, &fatal, sizeof fatal);
}

class Caller {
 public:
  Caller(HMODULE module, HANDLE process, void* context)
      : module_(module), process_(process), context_(context) {}

  void call_all(const Information& real) {
    call("no information", context_, nullptr);
    call_with("other code", real, [](Information* i) {
      i->exceptionRecord.ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
    });
    call_with("short information", real, [](Information* i) { i->dwSize = 8; });
    call_with("no thread", real, [](Information* i) { i->hThread = nullptr; });
    call_with("no process", real, [](Information* i) { i->hProcess = nullptr; });
    call("no context", nullptr, &real);
    call("unreadable context", reinterpret_cast<void*>(uintptr_t{0xDEAD0000}), &real);
    call("foreign context", GetModuleHandleW(nullptr), &real);
    const auto nowhere = reinterpret_cast<void*>(uintptr_t{0xDEAD0000});
    const auto not_open = reinterpret_cast<HANDLE>(uintptr_t{0xFFFF0});
    call_altered("other version", real, [](WerRegistration* r) { r->version = 7; });
    call_altered("no request", real,
                 [](WerRegistration* r) { r->dump_without_crashing = nullptr; });
    call_altered("closed request", real,
                 [&](WerRegistration* r) { r->dump_without_crashing = not_open; });
    call_altered("a process as request", real, [this](WerRegistration* r) {
      DuplicateHandle(GetCurrentProcess(), process_, process_, &r->dump_without_crashing, 0, FALSE,
                      DUPLICATE_SAME_ACCESS);
    });
    call_altered("no answer", real,
                 [](WerRegistration* r) { r->dump_completed = INVALID_HANDLE_VALUE; });
    call_altered("exception to nowhere", real,
                 [&](WerRegistration* r) { r->crashpad_exception_info = nowhere; });
    call_altered("exception to code", real, [](WerRegistration* r) {
      r->crashpad_exception_info = GetModuleHandleW(nullptr);
    });
    // What the process says of its own pointers must not matter.
    WerRegistration registration = original();
    registration.pointers = {static_cast<EXCEPTION_RECORD*>(nowhere),
                             static_cast<CONTEXT*>(nowhere)};
    write(context_, registration);
    if (call("real", context_, &real)) {
      WaitForSingleObject(process_, kTimeoutMs);
      call("ended process", context_, &real);
    }
    call_others(real);
  }

 private:
  bool call(const char* name, void* context, const Information* information) const {
    const auto callback = function<PFN_WER_RUNTIME_EXCEPTION_EVENT>("");
    wchar_t event[64] = {};
    DWORD size = 64;
    DWORD count = 0;
    BOOL claimed = TRUE;
    const HRESULT result =
        callback(context, const_cast<Information*>(information), &claimed, event, &size, &count);
    std::printf("%s: 0x%08lX %d\n", name, static_cast<unsigned long>(result), claimed);
    std::fflush(stdout);
    return claimed != FALSE;
  }

  void call_with(const char* name, Information information,
                 const std::function<void(Information*)>& alter) const {
    alter(&information);
    call(name, context_, &information);
  }

  // With a copy of what the process has registered, altered, in the process.
  void call_altered(const char* name, const Information& real,
                    const std::function<void(WerRegistration*)>& alter) const {
    WerRegistration registration = original();
    alter(&registration);
    void* const copy =
        VirtualAllocEx(process_, nullptr, sizeof registration, MEM_COMMIT, PAGE_READWRITE);
    if (!write(copy, registration)) std::printf("no copy for: ");
    call(name, copy, &real);
  }

  void call_others(const Information& real) const {
    auto* const information = const_cast<Information*>(&real);
    wchar_t text[64] = {};
    DWORD size = 64;
    BOOL custom = FALSE;
    std::printf("signature: 0x%08lX\ndebugger: 0x%08lX\n",
                static_cast<unsigned long>(function<PFN_WER_RUNTIME_EXCEPTION_EVENT_SIGNATURE>(
                    "Signature")(context_, information, 0, text, &size, text, &size)),
                static_cast<unsigned long>(function<PFN_WER_RUNTIME_EXCEPTION_DEBUGGER_LAUNCH>(
                    "DebuggerLaunch")(context_, information, &custom, text, &size, &custom)));
  }

  WerRegistration original() const {
    WerRegistration registration = {};
    SIZE_T done = 0;
    ReadProcessMemory(process_, context_, &registration, sizeof registration, &done);
    return registration;
  }

  bool write(void* address, const WerRegistration& registration) const {
    SIZE_T done = 0;
    return WriteProcessMemory(process_, address, &registration, sizeof registration, &done) !=
           FALSE;
  }

  template <typename Function>
  Function function(const char* kind) const {
    char name[80] = {};
    std::snprintf(name, sizeof name, "OutOfProcessExceptionEvent%sCallback", kind);
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
  }

  const HMODULE module_;
  const HANDLE process_;
  void* const context_;
};

// The process is suspended until its event is continued, as it is by the system.
void report(HMODULE module, DWORD process_id, void* context, DWORD code, const DEBUG_EVENT& event) {
  Information information = {};
  information.dwSize = sizeof information;
  information.hProcess = OpenProcess(PROCESS_ALL_ACCESS, FALSE, process_id);
  information.hThread = OpenThread(THREAD_ALL_ACCESS, FALSE, event.dwThreadId);
  information.exceptionRecord = event.u.Exception.ExceptionRecord;
  if (code != 0) information.exceptionRecord.ExceptionCode = code;
  information.context.ContextFlags = CONTEXT_ALL;
  GetThreadContext(information.hThread, &information.context);
  set_fatal(&information, TRUE);
  Caller(module, information.hProcess, context).call_all(information);
}

}  // namespace

int main(int argc, char** argv) {
  // The arguments of main are in the machine's code page, which may lack letters of the path.
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &argc);
  if (wide == nullptr || argc != 5) return 2;
  const HMODULE module = LoadLibraryW(wide[1]);
  const DWORD process = std::strtoul(argv[2], nullptr, 10);
  auto* const context = reinterpret_cast<void*>(std::strtoull(argv[3], nullptr, 10));
  if (module == nullptr || !DebugActiveProcess(process)) return 3;
  std::puts("waiting");
  std::fflush(stdout);
  for (;;) {
    DEBUG_EVENT event = {};
    if (!WaitForDebugEvent(&event, kTimeoutMs)) return 4;
    DWORD status = DBG_CONTINUE;
    if (event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT) return 0;
    if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
        event.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT) {
      status = DBG_EXCEPTION_NOT_HANDLED;
      if (event.u.Exception.ExceptionRecord.ExceptionCode == kFailFast) {
        report(module, process, context, std::strtoul(argv[4], nullptr, 0), event);
      }
    }
    ContinueDebugEvent(event.dwProcessId, event.dwThreadId, status);
  }
}
