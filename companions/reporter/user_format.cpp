#include "reporter/user_format.h"

#include <array>
#include <cmath>

namespace wrenfall::reporter {

std::string number_text(uint64_t number, const UserFormat& format) {
  const std::string digits = std::to_string(number);
  std::string text;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) text += format.thousands;
    text += digits[i];
  }
  return text;
}

std::string file_size_text(uint64_t bytes, const DialogTexts& texts, const UserFormat& format) {
  static constexpr std::array kUnits = {Text::kSizeKb, Text::kSizeMb, Text::kSizeGb};
  auto tenths = static_cast<double>(bytes) / 1024 * 10;
  size_t unit = 0;
  // A size that would be rounded up to 1024.0 is shown in the next unit too.
  while (tenths >= 10239.5 && unit + 1 < kUnits.size()) {
    tenths /= 1024;
    ++unit;
  }
  auto rounded = static_cast<uint64_t>(std::llround(tenths));
  if (rounded == 0 && bytes > 0) rounded = 1;
  return texts.filled(kUnits[unit], {{"size", number_text(rounded / 10, format) + format.decimal +
                                                  std::to_string(rounded % 10)}});
}

}  // namespace wrenfall::reporter
