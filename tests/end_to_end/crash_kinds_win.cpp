// Every way to crash that docs/crash-coverage.md has a row for.
#include "crash_kinds.h"

#include <windows.h>
#include <wrenfall/wrenfall.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <future>
#include <stdexcept>
#include <thread>

#include "examples/pure_virtual_call.h"

namespace {

// Volatile, so that no compiler foresees a crash.
volatile int zero = 0;
int* volatile nowhere = nullptr;
void (*volatile no_code)() = nullptr;

void announce_this_thread() {
  std::printf("%lu\n", static_cast<unsigned long>(GetCurrentThreadId()));
  std::fflush(stdout);
}

void write_to_null() { *nowhere = 1; }

// The system's limit on the depth is the only one. Small frames, so that it is always met closely.
int overflow(int depth) {
  int (*volatile deeper)(int) = &overflow;
  volatile char block[512] = {};
  block[0] = static_cast<char>(depth);
  return deeper(depth + 1) + block[0];
}

void stack_overflow() { zero = overflow(1); }

// Wine 8 notes the wish of SetThreadStackGuarantee but leaves the guard page at the very end of the
// stack, where not even an exception's dispatch fits behind it. Moves it to where Windows has it.
void guaranteed_stack_overflow() {
  ULONG bytes = 0;  // asks
  SetThreadStackGuarantee(&bytes);
  ULONG_PTR low = 0, high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  DWORD protection = 0;
  if (bytes >= 32768 && GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version")) {
    VirtualProtect(reinterpret_cast<void*>(low + 32768), 4096, PAGE_READWRITE | PAGE_GUARD,
                   &protection);
  }
  stack_overflow();
}

// A thread that runs before init, and overflows later.
std::promise<void> overflow_begins;

void start_older_thread() {
  std::thread([] {
    announce_this_thread();
    overflow_begins.get_future().wait();
    wrenfall_watch_thread("older");
    guaranteed_stack_overflow();
  }).detach();
}

void overflow_older_thread() {
  overflow_begins.set_value();
  Sleep(60000);
}

void run_on_new_thread(void (*crash_there)()) {
  std::thread([crash_there] {
    announce_this_thread();
    crash_there();
  }).join();
}

void run_code(const char* bytes, size_t size) {
  void* const code = VirtualAlloc(nullptr, 4096, MEM_COMMIT, PAGE_EXECUTE_READWRITE);
  std::memcpy(code, bytes, size);
  void (*function)() = nullptr;
  std::memcpy(&function, &code, sizeof function);
  function();
}

// Writes 16 KiB beyond blocks of the process's heap, or before them, as a wrong loop does. Blocks of
// many sizes lie in all places where a library may have allocated before.
void write_around_heap_blocks(bool beyond) {
  volatile char* blocks[32];
  int size = 0;
  for (auto& block : blocks) {
    block = static_cast<volatile char*>(std::malloc(static_cast<size_t>(size += 16)));
  }
  size = 0;
  for (auto* const block : blocks) {
    size += 16;
    for (int i = 0; i < 16384; ++i) block[beyond ? size + i : -1 - i] = 'x';
  }
  write_to_null();
}

void throw_uncaught() { throw std::runtime_error("nobody catches this"); }

// A C runtime that this program and the library do not use, as a host's own, linked statically.
template <typename Function>
Function other_runtime(const char* name) {
  const HMODULE module = LoadLibraryW(L"ucrtbase.dll");
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}
void other_abort() { other_runtime<void (*)()>("abort")(); }
void other_invalid_parameter() {
  other_runtime<int (*)(char*, size_t, const char*)>("strcpy_s")(nullptr, 0, "text");
}

// Crashes while another thread is inside `enter`'s lock for good.
template <typename Enter>
void crash_while_locked(Enter enter) {
  std::atomic<bool> entered{false};
  std::thread([&] {
    enter();
    entered = true;
    Sleep(INFINITE);
  }).detach();
  while (!entered) Sleep(1);
  write_to_null();
}
void hold_loader_lock() {
  using Lock = LONG(WINAPI*)(ULONG, ULONG*, ULONG_PTR*);
  ULONG_PTR cookie = 0;
  reinterpret_cast<Lock>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "LdrLockLoaderLock")))(0, nullptr, &cookie);
}
void crash_under_loader_lock() { crash_while_locked(hold_loader_lock); }
void crash_under_heap_lock() {
  crash_while_locked([] { HeapLock(GetProcessHeap()); });
}
void crash_during_captures() {
  crash_while_locked([] {
    std::thread([] {
      while (wrenfall_capture_report() == WRENFALL_OK) continue;
    }).detach();
    Sleep(20);  // Into the first dump, more likely than not; every other moment must do as well.
  });
}

void crash_two_threads() {
  static std::atomic<int> ready{0};
  const auto crash_together = [] {
    announce_this_thread();
    for (++ready; ready < 2;) continue;
    write_to_null();
  };
  std::thread other(crash_together);
  crash_together();
  other.join();
}

void crash_after_foreign_filter() {
  SetUnhandledExceptionFilter(nullptr);
  write_to_null();
}

const struct {
  const char* name;
  void (*crash)();
  bool on_new_thread;
} kKinds[] = {
    {"access-violation", write_to_null, false},
    {"access-violation-thread", write_to_null, true},
    {"null-call", [] { no_code(); }, false},
    {"stack-overflow", guaranteed_stack_overflow, false},
    {"stack-overflow-thread", guaranteed_stack_overflow, true},
    {"older-thread", start_older_thread, false},
    {"stack-overflow-older-thread", overflow_older_thread, false},
    {"heap-corruption", [] { RaiseException(0xC0000374, EXCEPTION_NONCONTINUABLE, 0, nullptr); },
     false},
    {"abort", std::abort, false},
    {"terminate", [] { std::terminate(); }, false},
    {"pure-virtual", pure_virtual::call, false},
    {"throw", throw_uncaught, false},
    {"abort-other-runtime", other_abort, false},
    {"invalid-parameter-other-runtime", other_invalid_parameter, false},
    {"division-by-zero", [] { zero = 100 / zero; }, false},
    {"illegal-instruction", [] { run_code("\x0F\x0B", 2); }, false},
    {"fail-fast", [] { run_code("\xB9\x07\x00\x00\x00\xCD\x29", 7); }, false},
    {"exception", [] { RaiseException(0xE0000042, 0, 0, nullptr); }, false},
    {"heap-overrun", [] { write_around_heap_blocks(true); }, false},
    {"heap-underrun", [] { write_around_heap_blocks(false); }, false},
    {"loader-lock", crash_under_loader_lock, false},
    {"heap-lock", crash_under_heap_lock, false},
    {"during-capture", crash_during_captures, false},
    {"two-threads", crash_two_threads, false},
    {"foreign-filter", crash_after_foreign_filter, false},
};

}  // namespace

void crash(const char* kind) {
  for (const auto& known : kKinds) {
    if (std::strcmp(kind, known.name) != 0) continue;
    if (known.on_new_thread) {
      run_on_new_thread(known.crash);
    } else {
      announce_this_thread();
      known.crash();
    }
  }
}
