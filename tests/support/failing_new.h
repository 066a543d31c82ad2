#ifndef WRENFALL_TESTS_SUPPORT_FAILING_NEW_H_
#define WRENFALL_TESTS_SUPPORT_FAILING_NEW_H_

#include <atomic>
#include <cstddef>

namespace wrenfall {

// Of programs that have failing_new.cpp linked in: how many allocations succeed before one fails, or
// all others; negative while none is to fail.
extern std::atomic<long> allocations_left;
// Smaller ones neither count nor fail: the JSON library needs some to destroy an object, which must
// not throw.
extern std::atomic<size_t> smallest_allocation;
extern std::atomic<bool> one_allocation_fails;
// Larger ones always fail.
extern std::atomic<size_t> largest_allocation;
// Whether any has failed.
extern std::atomic<bool> allocation_failed;

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_SUPPORT_FAILING_NEW_H_
