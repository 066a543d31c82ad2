#include "hang/hang_holds.h"

namespace wrenfall {

bool HangPauses::resume() {
  uint32_t count = count_;
  while (count != 0) {
    if (count_.compare_exchange_weak(count, count - 1)) return true;
  }
  return false;
}

}  // namespace wrenfall
