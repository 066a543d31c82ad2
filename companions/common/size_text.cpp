#include "common/size_text.h"

#include <array>
#include <cmath>

namespace wrenfall {

std::string size_text(uint64_t bytes) {
  if (bytes < 1024) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  static constexpr std::array kUnits = {" KB", " MB", " GB", " TB"};
  auto tenths = static_cast<double>(bytes) / 1024 * 10;
  size_t unit = 0;
  // A size that would be rounded up to 1024.0 is shown in the next unit too.
  while (tenths >= 10239.5 && unit + 1 < kUnits.size()) {
    tenths /= 1024;
    ++unit;
  }
  const auto rounded = static_cast<uint64_t>(std::llround(tenths));
  return std::to_string(rounded / 10) + "." + std::to_string(rounded % 10) + kUnits[unit];
}

}  // namespace wrenfall
