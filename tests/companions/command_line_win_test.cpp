// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include "monitor/command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace wrenfall::monitor {
namespace {

std::vector<std::wstring> split(const std::wstring& command_line) {
  int count = 0;
  wchar_t** const arguments = CommandLineToArgvW(command_line.c_str(), &count);
  std::vector<std::wstring> texts(arguments, arguments + count);
  LocalFree(arguments);
  return texts;
}

TEST(CommandLine, QuotedArgumentComesBackFromTheSystem) {
  const wchar_t* const rows[] = {
      L"",          L"plain",      L"two words", L"C:\\a b\\",   L"C:\\a b\\\\",   L"say \"x\"",
      L"back\\\"q", L"\\\\srv\\s", L"\"",        L"tab\tinside", L"\x0436 \x00E4", L"a\\\\\"b c\\",
  };
  std::vector<std::wstring> hostile(std::begin(rows), std::end(rows));
  for (const wchar_t* const row :
       {L"\" --annotation=wrenfall.store=C:\\evil \"", L"\\\" & calc.exe & \"", L"%PATH% ^|<>&!",
        L"line\r\nbreak\n", L"\x0b\x0c\x1b\xa0\x2028", L"'single' `back`", L"\\\\\\\"\"\"\\\\",
        L"--help", L"/?", L"  blanks  ", L"\xD83D"}) {
    hostile.push_back(row);
  }
  for (size_t backslashes = 1; backslashes < 8; ++backslashes) {
    hostile.push_back(std::wstring(backslashes, L'\\') + L"\"");
    hostile.push_back(L"a b\"" + std::wstring(backslashes, L'\\'));
  }
  // As long as a command line can be.
  hostile.push_back(std::wstring(32000, L'x'));
  hostile.push_back(std::wstring(10000, L'"'));
  for (const std::wstring& row : hostile) {
    const std::wstring line = L"p.exe " + quote_argument(row) + L" next";
    EXPECT_EQ(split(line), (std::vector<std::wstring>{L"p.exe", row, L"next"}));
  }
}

}  // namespace
}  // namespace wrenfall::monitor
