#ifndef WRENFALL_SUPPORT_COMMAND_LINE_H_
#define WRENFALL_SUPPORT_COMMAND_LINE_H_

#include <string>
#include <string_view>

namespace wrenfall {

// The argument in quotes, so that CommandLineToArgvW and every C runtime read it back unchanged.
std::wstring quote_argument(std::wstring_view argument);

// The command line with its first argument replaced by `program`; everything after that stays the
// same to the byte. `program` is a path, which cannot contain a quote.
std::wstring with_program(std::wstring_view command_line, std::wstring_view program);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_COMMAND_LINE_H_
