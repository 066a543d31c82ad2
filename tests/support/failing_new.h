#ifndef WRENFALL_TESTS_SUPPORT_FAILING_NEW_H_
#define WRENFALL_TESTS_SUPPORT_FAILING_NEW_H_

#include <atomic>

namespace wrenfall {

// How many allocations succeed before all others fail; negative while none is to fail. Small ones
// neither count nor fail: the JSON library needs some to destroy an object, which must not throw. Of
// programs that have failing_new.cpp linked in.
extern std::atomic<long> allocations_left;

}  // namespace wrenfall

#endif  // WRENFALL_TESTS_SUPPORT_FAILING_NEW_H_
