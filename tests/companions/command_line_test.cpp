#include "monitor/command_line.h"

#include <gtest/gtest.h>

namespace wrenfall::monitor {
namespace {

TEST(CommandLine, ReplacesTheProgramAlone) {
  const struct {
    const wchar_t* line;
    const wchar_t* rest;
  } rows[] = {
      {L"a.exe --x=1", L" --x=1"},
      {L"\"C:\\a b\\m.exe\" --k=\"v \\\" w\"  --z", L" --k=\"v \\\" w\"  --z"},
      {L"\"C:\\dir\\\" \"--a\"", L" \"--a\""},
      {L"a.exe\t-x", L"\t-x"},
      {L"a.exe", L""},
      {L"\"unended", L""},
      {L"", L""},
      {L" --x", L" --x"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(with_program(row.line, L"C:\\p q\\h.exe"),
              std::wstring(L"\"C:\\p q\\h.exe\"") + row.rest);
  }
}

}  // namespace
}  // namespace wrenfall::monitor
