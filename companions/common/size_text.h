#ifndef WRENFALL_COMPANIONS_COMMON_SIZE_TEXT_H_
#define WRENFALL_COMPANIONS_COMMON_SIZE_TEXT_H_

#include <cstdint>
#include <string>

namespace wrenfall {

// "31 bytes", "619.1 KB", "1.5 MB": in units of 1024, as in the system's own windows, rounded to the
// nearest tenth.
std::string size_text(uint64_t bytes);

}  // namespace wrenfall

#endif  // WRENFALL_COMPANIONS_COMMON_SIZE_TEXT_H_
