#include "support/scrub.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>

namespace wrenfall {
namespace {

TEST(Scrub, TakesTheNameAfterAHomeFolder) {
  const std::pair<std::string, std::string> cases[] = {
      {R"(C:\Users\Jane Doe\AppData\x.dmp)", R"(C:\Users\...\AppData\x.dmp)"},
      {"/home/jane/report", "/home/.../report"},
      {R"(C:\USERS\jane)", R"(C:\USERS\...)"},
      {"D:/uSeRs\\jane/x", "D:/uSeRs\\.../x"},
      {"opened C:\\Users\\a\\b and /home/c: failed", "opened C:\\Users\\...\\b and /home/..."},
      {R"(C:\Users\)", R"(C:\Users\)"},
      {R"(C:\Users\\x)", R"(C:\Users\\x)"},
      {R"(C:\MyUsers\jane\x)", R"(C:\MyUsers\jane\x)"},
      {R"(C:\Users2\jane\x)", R"(C:\Users2\jane\x)"},
      {"Users/jane", "Users/jane"},
      {"/home/home/jane", "/home/.../jane"},
      {R"(C:\Users\Jürgen 試\x)", R"(C:\Users\...\x)"},
      {"/home/two\nlines/x", "/home/.../x"},
      {"", ""},
  };
  for (const auto& [text, clean] : cases) EXPECT_EQ(scrub_user_names(text), clean) << text;
}

TEST(Scrub, GivesWhatTheExpressionOfTheHeaderGives) {
  const std::regex expression(R"(([\\/](?:Users|home)[\\/])[^\\/]+)",
                              std::regex::ECMAScript | std::regex::icase);
  // Whole words most of the time, or hardly any text would hold a match.
  const std::vector<std::string> pieces = {"/",     "\\",   "/",     "\\", "Users", "home",
                                           "USERS", "hOmE", "users", "s",  "h",     "e",
                                           ".",     "\n",   "é",     "$1"};
  std::mt19937 generator(20260131);  // Always the same texts.
  std::uniform_int_distribution<size_t> piece(0, pieces.size() - 1);
  std::uniform_int_distribution<int> length(0, 20);
  int changed = 0;
  for (int i = 0; i < 40000; ++i) {
    std::string text;
    for (int left = length(generator); left > 0; --left) text += pieces[piece(generator)];
    const std::string expected = std::regex_replace(text, expression, "$1...");
    ASSERT_EQ(scrub_user_names(text), expected) << "for text " << i << ": " << text;
    if (expected != text) ++changed;
  }
  EXPECT_GT(changed, 2000) << "the texts hardly try the expression";
}

TEST(Scrub, LongElementsDoNotOverflowTheStack) {
  const std::string name(4000000, 'x');
  EXPECT_EQ(scrub_user_names("/home/" + name + "/y"), "/home/.../y");
  EXPECT_EQ(scrub_user_names("/other/" + name), "/other/" + name);
}

}  // namespace
}  // namespace wrenfall
