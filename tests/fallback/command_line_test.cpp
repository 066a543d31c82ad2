#include "common/command_line.h"

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <windows.h>
// Needs <windows.h> first.
#include <shellapi.h>
#endif

#include <string>
#include <vector>

namespace {

using namespace crashpad::internal;

#if defined(_WIN32)
TEST(CommandLine, SystemReadsItBack) {
  const std::vector<std::wstring> arguments = {
      L"C:\\Program Files\\handler.exe",
      L"plain",
      L"",
      L"tab\there",
      L"C:\\folder\\",
      L"C:\\my folder\\",
      L"say \"hi\"",
      L"back\\\"slash",
      L"two\\\\\" and \\\\ plain",
      L"\"",
      L"gr\u00FC\u00DFe",
  };
  std::wstring line;
  for (const std::wstring& argument : arguments) append_argument(argument, &line);
  int count = 0;
  wchar_t** read = CommandLineToArgvW(line.c_str(), &count);
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(std::vector<std::wstring>(read, read + count), arguments);
  LocalFree(read);
}
#endif

TEST(CommandLine, ClientDataMustBeWhole) {
  for (const wchar_t* bad :
       {L"", L"0x1", L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9", L"1,2,3,4,5,6,7,8,9,10",
        L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0xa,", L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0x",
        L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0x0", L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0xag",
        L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0x10000000000000000"}) {
    EXPECT_FALSE(parse_initial_client_data(bad)) << testing::PrintToString(std::wstring(bad));
  }
}

TEST(CommandLine, HandlerArgumentsMustBeWhole) {
  const std::wstring handles = L"--initial-client-data=0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0xa";
  EXPECT_TRUE(parse_handler_arguments({L"--database=C:\\d", L"--annotation=empty=", handles}));
  EXPECT_FALSE(parse_handler_arguments({L"--database=C:\\d"}));
  EXPECT_FALSE(parse_handler_arguments({handles}));
  EXPECT_FALSE(parse_handler_arguments({L"--database=C:\\d", handles, L"--annotation=key"}));
}

}  // namespace
