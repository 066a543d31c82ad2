#ifndef WRENFALL_SUPPORT_SCRUB_H_
#define WRENFALL_SUPPORT_SCRUB_H_

#include <string>

namespace wrenfall {

// The text with the name after each "Users" or "home" path element replaced by three dots: what
// replacing ([\\/](?:Users|home)[\\/])[^\\/]+ (ECMAScript, ignoring case) by $1...
// gives. Written as a search of its own because std::regex recurses once per character: a long path
// element would overflow the stack of a failing process.
std::string scrub_user_names(std::string text);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_SCRUB_H_
