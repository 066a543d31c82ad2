#include "common/ui_language.h"

namespace wrenfall {

std::string ui_language() { return "xx-YY"; }

}  // namespace wrenfall
