#include "backend/stack_guarantee.h"

namespace wrenfall {

void guarantee_stack_of_this_thread() {}

}  // namespace wrenfall
