#include <gtest/gtest.h>

#include "support/text.h"

namespace wrenfall {
namespace {

TEST(TextWin, BadSequencesAreReplaced) {
  // At least one replacement, and the text around it is kept. The system decides how many it writes
  // for one sequence.
  for (const char* bad : {"\x80", "\xC3", "\xFF", "\xED\xA0\x80", "\xC0\xAF", "\xF0\x9F\x98"}) {
    const std::wstring wide = utf8_to_wide("a" + std::string(bad) + "z");
    ASSERT_GE(wide.size(), 3u) << bad;
    EXPECT_EQ(wide.front(), L'a');
    EXPECT_EQ(wide.back(), L'z');
    EXPECT_EQ(wide.substr(1, wide.size() - 2), std::wstring(wide.size() - 2, L'\uFFFD')) << bad;
  }
  for (const wchar_t* bad : {L"\xD83D", L"\xDE00", L"\xDE00\xD83D"}) {
    const std::string text = wide_to_utf8(L"a" + std::wstring(bad) + L"z");
    EXPECT_EQ(text.substr(0, 4), "a\xEF\xBF\xBD");
    EXPECT_EQ(text.back(), 'z');
  }
}

}  // namespace
}  // namespace wrenfall
