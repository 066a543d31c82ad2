#include "support/scrub.h"

#include <gtest/gtest.h>

namespace wrenfall {
namespace {

// A fuzzer compares it with the documented expression.
TEST(Scrub, TakesTheNameAfterAHomeFolder) {
  const std::pair<std::string, std::string> cases[] = {
      {R"(C:\Users\Jane Doe\AppData\x.dmp)", R"(C:\Users\...\AppData\x.dmp)"},
      {"/home/jane/report", "/home/.../report"},
      {"D:/uSeRs\\jane/x", "D:/uSeRs\\.../x"},
      {"opened C:\\Users\\a\\b and /home/c: failed", "opened C:\\Users\\...\\b and /home/..."},
      {R"(C:\Users\\x)", R"(C:\Users\\x)"},
      {R"(C:\Users2\jane\x)", R"(C:\Users2\jane\x)"},
      {R"(C:\Users\Jürgen 試\x)", R"(C:\Users\...\x)"},
  };
  for (const auto& [text, clean] : cases) EXPECT_EQ(scrub_user_names(text), clean) << text;
}

TEST(Scrub, LongElementsDoNotOverflowTheStack) {
  const std::string name(4000000, 'x');
  EXPECT_EQ(scrub_user_names("/home/" + name + "/y"), "/home/.../y");
  EXPECT_EQ(scrub_user_names("/other/" + name), "/other/" + name);
}

}  // namespace
}  // namespace wrenfall
