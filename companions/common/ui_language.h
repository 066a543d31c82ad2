#ifndef WRENFALL_COMPANIONS_COMMON_UI_LANGUAGE_H_
#define WRENFALL_COMPANIONS_COMMON_UI_LANGUAGE_H_

#include <string>

namespace wrenfall {

// The language that the user sees the system in, for example "de-DE"; empty when the system does not
// tell.
std::string ui_language();

}  // namespace wrenfall

#endif  // WRENFALL_COMPANIONS_COMMON_UI_LANGUAGE_H_
