#include "reporter/dialog_layout.h"

#include <algorithm>

namespace wrenfall::reporter {
namespace {

// What is cut off a length, and what is left of it after the gap.
struct Cut {
  int taken;
  int left;
};

Cut cut(int available, int wanted, int gap) {
  const int taken = std::clamp(wanted, 0, available);
  return {taken, std::max(available - taken - gap, 0)};
}

}  // namespace

Box FreeSpace::take_top(int height, int gap) {
  const Cut result = cut(box_.height, height, gap);
  const Box strip{box_.left, box_.top, box_.width, result.taken};
  box_.top += box_.height - result.left;
  box_.height = result.left;
  return strip;
}

Box FreeSpace::take_bottom(int height, int gap) {
  const Cut result = cut(box_.height, height, gap);
  const Box strip{box_.left, box_.top + box_.height - result.taken, box_.width, result.taken};
  box_.height = result.left;
  return strip;
}

Box FreeSpace::take_left(int width, int gap) {
  const Cut result = cut(box_.width, width, gap);
  const Box strip{box_.left, box_.top, result.taken, box_.height};
  box_.left += box_.width - result.left;
  box_.width = result.left;
  return strip;
}

Box FreeSpace::take_right(int width, int gap) {
  const Cut result = cut(box_.width, width, gap);
  const Box strip{box_.left + box_.width - result.taken, box_.top, result.taken, box_.height};
  box_.width = result.left;
  return strip;
}

int scale_to_dpi(int length, unsigned dpi) { return (length * static_cast<int>(dpi) + 48) / 96; }

}  // namespace wrenfall::reporter
