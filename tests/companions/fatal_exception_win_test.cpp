#include "wer/fatal_exception_win.h"

#include <gtest/gtest.h>

namespace {

using wrenfall::wer::kFatalOffset;

TEST(FatalException, CountsWhereTheSystemTells) {
  const struct {
    DWORD size;
    DWORD build;
    BOOL field;
    bool ends;
  } cases[] = {
      {sizeof(WER_RUNTIME_EXCEPTION_INFORMATION), 19041, FALSE, false},
      {sizeof(WER_RUNTIME_EXCEPTION_INFORMATION), 22631, TRUE, true},
      {sizeof(WER_RUNTIME_EXCEPTION_INFORMATION), 17763, FALSE, true},
      {kFatalOffset, 22631, FALSE, true},
  };
  // The place of the field in the newest headers, by its distance from the structure's end.
  EXPECT_EQ(kFatalOffset, sizeof(WER_RUNTIME_EXCEPTION_INFORMATION) - sizeof(BOOL) - sizeof(DWORD));
  for (const auto& test : cases) {
    SCOPED_TRACE(test.build);
    WER_RUNTIME_EXCEPTION_INFORMATION information = {};
    information.dwSize = test.size;
    std::memcpy(reinterpret_cast<char*>(&information) + kFatalOffset, &test.field,
                sizeof test.field);
    EXPECT_EQ(wrenfall::wer::ends_the_process(information, test.build), test.ends);
  }
}

}  // namespace
