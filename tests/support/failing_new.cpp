#include "tests/support/failing_new.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace wrenfall {
std::atomic<long> allocations_left{-1};
std::atomic<size_t> smallest_allocation{200};
std::atomic<bool> one_allocation_fails{false};
std::atomic<size_t> largest_allocation{SIZE_MAX};
std::atomic<bool> allocation_failed{false};
}  // namespace wrenfall

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  long left = size < wrenfall::smallest_allocation ? -1 : wrenfall::allocations_left.load();
  while (left > 0 && !wrenfall::allocations_left.compare_exchange_weak(left, left - 1)) {
  }
  if (left != 0 && size <= wrenfall::largest_allocation) return std::malloc(size == 0 ? 1 : size);
  wrenfall::allocation_failed = true;
  if (left == 0 && wrenfall::one_allocation_fails) wrenfall::allocations_left = -1;
  return nullptr;
}

void* operator new(std::size_t size) {
  void* const memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
