#include "monitor/exit_code.h"

#include <gtest/gtest.h>

namespace wrenfall::monitor {
namespace {

TEST(ExitCode, TellsCrashesFromOrdinaryEnds) {
  // Codes that programs choose, Ctrl-C, a debugger's, a COM result.
  for (const uint32_t code : {0u, 1u, 3u, 0xFFFFFFFFu, 0xC000013Au, 0x40010004u, 0x80004005u}) {
    EXPECT_FALSE(is_crash_code(code)) << code;
  }
  // An access violation, a fail-fast exit, a C++ exception, a breakpoint.
  for (const uint32_t code : {0xC0000005u, 0xC0000409u, 0xE06D7363u, 0x80000003u}) {
    EXPECT_TRUE(is_crash_code(code)) << code;
  }
}

}  // namespace
}  // namespace wrenfall::monitor
