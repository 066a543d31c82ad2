#include "handler/manners.h"

namespace crashpad::internal {

const Manners kManners = {true, true, true, true};

}  // namespace crashpad::internal
