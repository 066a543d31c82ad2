#include "handler/manners.h"

namespace crashpad::internal {

const Manners kManners = {false, false, false, false};

}  // namespace crashpad::internal
