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

const struct {
  std::wstring argument;
  std::wstring quoted;
} kQuoting[] = {
    {L"plain", L"plain"},
    {L"", L"\"\""},
    {L"two words", L"\"two words\""},
    {L"tab\there", L"\"tab\there\""},
    {L"C:\\folder\\", L"C:\\folder\\"},
    {L"C:\\my folder\\", L"\"C:\\my folder\\\\\""},
    {L"say \"hi\"", L"\"say \\\"hi\\\"\""},
    {L"back\\\"slash", L"\"back\\\\\\\"slash\""},
    {L"two\\\\\" and \\\\ plain", L"\"two\\\\\\\\\\\" and \\\\ plain\""},
    {L"\"", L"\"\\\"\""},
    {L"gr\u00FC\u00DFe", L"gr\u00FC\u00DFe"},
};

TEST(CommandLine, Quotes) {
  for (const auto& test : kQuoting) {
    std::wstring line = L"first";
    append_argument(test.argument, &line);
    EXPECT_EQ(line, L"first " + test.quoted);
  }
}

#if defined(_WIN32)
TEST(CommandLine, SystemReadsItBack) {
  std::wstring line;
  append_argument(L"C:\\Program Files\\handler.exe", &line);
  for (const auto& test : kQuoting) append_argument(test.argument, &line);
  int count = 0;
  wchar_t** arguments = CommandLineToArgvW(line.c_str(), &count);
  ASSERT_NE(arguments, nullptr);
  const std::vector<std::wstring> read(arguments, arguments + count);
  LocalFree(arguments);
  ASSERT_EQ(read.size(), std::size(kQuoting) + 1);
  EXPECT_EQ(read[0], L"C:\\Program Files\\handler.exe");
  for (size_t i = 0; i < std::size(kQuoting); ++i) EXPECT_EQ(read[i + 1], kQuoting[i].argument);
}
#endif

TEST(CommandLine, ClientData) {
  const InitialClientData data = {1, 0x2a4, 3, 4, 5, 6, 7, 8, 9, 0xFFFFFFFFFFFFFFFF};
  const std::wstring text = format_initial_client_data(data);
  EXPECT_EQ(text, L"0x1,0x2a4,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0xffffffffffffffff");
  const auto read = parse_initial_client_data(text);
  ASSERT_TRUE(read);
  EXPECT_EQ(format_initial_client_data(*read), text);

  for (const wchar_t* bad :
       {L"", L"0x1", L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9", L"1,2,3,4,5,6,7,8,9,10",
        L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0xa,", L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0x",
        L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0x0", L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0xag",
        L"0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0x10000000000000000"}) {
    EXPECT_FALSE(parse_initial_client_data(bad)) << testing::PrintToString(std::wstring(bad));
  }
}

TEST(CommandLine, HandlerArguments) {
  const std::wstring handles = L"--initial-client-data=0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9,0xa";
  const auto parsed = parse_handler_arguments({L"--no-rate-limit", L"--database=C:\\data base",
                                               L"--metrics-dir=C:\\m", L"--annotation=key=a=b",
                                               L"--annotation=empty=", L"stray", handles});
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->database, L"C:\\data base");
  EXPECT_EQ(parsed->client_data.stop, 8u);
  const std::vector<std::pair<std::wstring, std::wstring>> annotations = {{L"key", L"a=b"},
                                                                          {L"empty", L""}};
  EXPECT_EQ(parsed->annotations, annotations);

  EXPECT_FALSE(parse_handler_arguments({L"--database=C:\\d"}));
  EXPECT_FALSE(parse_handler_arguments({handles}));
  EXPECT_FALSE(parse_handler_arguments({L"--database=C:\\d", handles, L"--annotation=key"}));
}

}  // namespace
