// A host that has failures of its own C and C++ runtime reported: one call after wrenfall_init.
//
//   runtime_failures STORE abort | terminate | throw | pure-virtual | new | restored
//
// "throw" lets an exception go uncaught; "restored" calls abort with the handlers taken back.
#include <crtdbg.h>
#include <wrenfall/runtime_failures.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "pure_virtual_call.h"
#include "utf8_arguments.h"

namespace {

// Volatile, so that no compiler foresees the failure.
volatile size_t too_much = SIZE_MAX / 4;

void fail(const char* kind) {
  if (std::strcmp(kind, "abort") == 0) std::abort();
  if (std::strcmp(kind, "terminate") == 0) std::terminate();
  if (std::strcmp(kind, "throw") == 0) throw std::runtime_error("nobody catches this");
  if (std::strcmp(kind, "pure-virtual") == 0) pure_virtual::call();
  if (std::strcmp(kind, "new") == 0) std::printf("%p\n", static_cast<void*>(new char[too_much]));
  if (std::strcmp(kind, "restored") == 0) {
    wrenfall_restore_runtime_handlers();
    std::abort();
  }
}

}  // namespace

int main() {
  int argc = 0;
  char** const argv = utf8_arguments(&argc);
#ifdef _MSC_VER
  // In a debug build the runtime would open a message box at an abort.
  static_cast<void>(_CrtSetReportMode(_CRT_ERROR, _CRTDBG_MODE_DEBUG));
#endif
  if (argc != 3) {
    std::fputs(
        "usage: runtime_failures STORE "
        "abort | terminate | throw | pure-virtual | new | restored\n",
        stderr);
    return 2;
  }
  wrenfall_options* const options = wrenfall_options_new("127", "Runtime Failures", "1.0");
  wrenfall_options_set_store_dir(options, argv[1]);
  wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
  // The recommended setting: see "Offline, and how much is kept" in the integration guide.
  wrenfall_options_set_retention(options, 100, 30, 500ull * 1024 * 1024);
  wrenfall_options_set_resend(options, 1);
  wrenfall_options_set_report_limit(options, 10, 600);
  if (wrenfall_init(options) != WRENFALL_OK) return 1;
  wrenfall_install_runtime_handlers(WRENFALL_RUNTIME_ALL);
  fail(argv[2]);
  wrenfall_shutdown();
  return 1;
}
