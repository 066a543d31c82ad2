// The scanner that takes user names out of paths gives the same as the documented expression.
#include <regex>

#include "support/scrub.h"
#include "tests/fuzz/property.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::regex expression(R"(([\\/](?:Users|home)[\\/])[^\\/]+)",
                                     std::regex::ECMAScript | std::regex::icase);
  // The expression recurses for each character.
  constexpr size_t kLongest = 300;
  const std::string text(reinterpret_cast<const char*>(data), std::min(size, kLongest));
  const std::string clean = wrenfall::scrub_user_names(text);
  wrenfall::require(clean == std::regex_replace(text, expression, "$1..."), "as the expression");
  wrenfall::require(wrenfall::scrub_user_names(clean) == clean, "nothing is left to take out");
  return 0;
}
