#include "support/json_text.h"

#include <gtest/gtest.h>

namespace wrenfall {
namespace {

TEST(JsonText, IntegersOfEveryKindOfNumber) {
  const std::pair<const char*, std::optional<int64_t>> cases[] = {
      {"-1", -1},
      {"9223372036854775807", INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
      {"9223372036854775808", {}},
      {"18446744073709551615", {}},
      {"18446744073709551616", {}},
      {"12.99", 12},
      {"-12.99", -12},
      {"1e3", 1000},
      {"1e-300", 0},
      {"1e300", {}},
      {"-1e300", {}},
      {"-9223372036854775808.0", INT64_MIN},
      {"9223372036854775808.0", {}},
      {"true", {}},
      {"null", {}},
      {"\"5\"", {}},
      {"[5]", {}}};
  for (const auto& [text, value] : cases) EXPECT_EQ(json_integer(parse_json(text)), value) << text;
}

TEST(JsonText, WhatIsNoJsonIsDiscarded) {
  for (const char* text : {"", "{", "[1,]", "{'a':1}", "nul", "NaN", "Infinity", "-", "01", "1e999",
                           "\"\\ud800\"", "\"\x80\"", "{} x", "/* c */ {}", "{} // c"}) {
    EXPECT_TRUE(parse_json(text).is_discarded()) << text;
  }
}

TEST(JsonText, BadUtf8BecomesTheReplacementCharacter) {
  const std::string bad = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> cases[] = {
      {"é試😀", "é試😀"}, {"a\x80z", "a" + bad + "z"}, {"a\xC3", "a" + bad}, {"\xFF", bad}};
  for (const auto& [text, dumped] : cases) {
    EXPECT_EQ(json_text({{text, text}}), "{\"" + dumped + "\":\"" + dumped + "\"}") << text;
  }
}

}  // namespace
}  // namespace wrenfall
