#ifndef WRENFALL_SUPPORT_DETACHED_THREAD_H_
#define WRENFALL_SUPPORT_DETACHED_THREAD_H_

#include <functional>

namespace wrenfall {

// Does the work, which must not throw, on a thread of its own that nobody waits for. Throws
// std::system_error where the system has no thread to give, std::bad_alloc without memory.
//
// Use it in place of std::thread::detach(). That one is not safe with MinGW's thread library: when the
// thread has ended before it is detached, its bookkeeping goes to the next thread while Windows still
// tells the library that the first one ends. The second thread then runs twice, or not at all.
void start_detached_thread(std::function<void()> work);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_DETACHED_THREAD_H_
