#include "monitor/ui_language.h"

namespace wrenfall::monitor {

std::string ui_language() { return "xx-YY"; }

}  // namespace wrenfall::monitor
