#include <thread>
#include <utility>

#include "support/detached_thread.h"

namespace wrenfall {

void start_detached_thread(std::function<void()> work) { std::thread(std::move(work)).detach(); }

}  // namespace wrenfall
