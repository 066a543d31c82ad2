#include "tests/support/failing_new.h"

#include <cstdlib>
#include <new>

namespace wrenfall {
std::atomic<long> allocations_left{-1};
}  // namespace wrenfall

void* operator new(std::size_t size) {
  constexpr std::size_t kSmallBytes = 200;
  long left = size < kSmallBytes ? -1 : wrenfall::allocations_left.load();
  while (left > 0 && !wrenfall::allocations_left.compare_exchange_weak(left, left - 1)) {
  }
  void* const memory = left == 0 ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
