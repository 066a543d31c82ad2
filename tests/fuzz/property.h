#ifndef WRENFALL_TESTS_FUZZ_PROPERTY_H_
#define WRENFALL_TESTS_FUZZ_PROPERTY_H_

#include <cstdio>
#include <cstdlib>

namespace wrenfall {

// What must be true of every input; the fuzzer reports the input otherwise.
inline void require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", property);
  std::abort();
}

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_FUZZ_PROPERTY_H_
