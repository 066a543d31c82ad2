#ifndef WRENFALL_SUPPORT_ERROR_TEXT_H_
#define WRENFALL_SUPPORT_ERROR_TEXT_H_

#include <exception>
#include <string>

namespace wrenfall {

// What an exception says, for the log and for people, in UTF-8. The texts of errors of the system are in
// the language and the code page of the machine; their numbers take their place: "error 5: C:\store".
std::string error_text(const std::exception& error);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_ERROR_TEXT_H_
