#ifndef WRENFALL_COMPANIONS_MONITOR_UI_LANGUAGE_H_
#define WRENFALL_COMPANIONS_MONITOR_UI_LANGUAGE_H_

#include <string>

namespace wrenfall::monitor {

// The language that the user sees the system in, for example "de-DE"; empty when the system does not
// tell.
std::string ui_language();

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_UI_LANGUAGE_H_
