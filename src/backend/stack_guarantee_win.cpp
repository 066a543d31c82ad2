#include <windows.h>

#include <atomic>

#include "backend/stack_guarantee.h"

namespace wrenfall {
namespace {

std::atomic<uint32_t> wanted{0};

}  // namespace

void set_stack_guarantee(uint32_t bytes) { wanted = bytes; }

void guarantee_stack_of_this_thread() {
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  ULONG bytes = stack_guarantee_of(high - low, wanted);
  if (bytes != 0) SetThreadStackGuarantee(&bytes);
}

}  // namespace wrenfall
