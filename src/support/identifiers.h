#ifndef WRENFALL_SUPPORT_IDENTIFIERS_H_
#define WRENFALL_SUPPORT_IDENTIFIERS_H_

#include <string>

namespace wrenfall {

// A random version-4 UUID (RFC 4122), 36 lower-case characters.
std::string new_uuid();

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_IDENTIFIERS_H_
