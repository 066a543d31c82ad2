#ifndef WRENFALL_BACKEND_STACK_GUARANTEE_H_
#define WRENFALL_BACKEND_STACK_GUARANTEE_H_

#include <cstddef>
#include <cstdint>

namespace wrenfall {

inline constexpr uint32_t kDefaultStackGuarantee = 32768;

// What is set aside of a stack of that size when `wanted` bytes are asked for. Nothing of a small one,
// whose thread may need all of it, and of any other at most a quarter.
constexpr uint32_t stack_guarantee_of(size_t stack_bytes, uint32_t wanted) {
  constexpr size_t kSmallStackBytes = size_t{256} * 1024;
  if (stack_bytes < kSmallStackBytes) return 0;
  return stack_bytes / 4 < wanted ? static_cast<uint32_t>(stack_bytes / 4) : wanted;
}

// How many bytes of its stack each thread sets aside from now on, for the report of an overflow; 0 for
// none. It stays in force when the library is shut down, since crashes are captured then too.
void set_stack_guarantee(uint32_t bytes);

// Sets them aside for the calling thread; the system has no such call for another thread. One that has
// asked for more keeps it. Called for each thread that starts, with the loader's lock held: takes no
// lock, and neither loads nor allocates anything.
void guarantee_stack_of_this_thread();

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_STACK_GUARANTEE_H_
