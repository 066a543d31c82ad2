#ifndef WRENFALL_COMPANIONS_MONITOR_COMMAND_LINE_H_
#define WRENFALL_COMPANIONS_MONITOR_COMMAND_LINE_H_

#include <string>
#include <string_view>

namespace wrenfall::monitor {

// An argument quoted so that CommandLineToArgvW, and every C runtime, gives it back as it is.
std::wstring quote_argument(std::wstring_view argument);

// The command line with another program in the first place; everything after the program's name
// stays as it is, to the byte. `program` is a path, which cannot hold a quote.
std::wstring with_program(std::wstring_view command_line, std::wstring_view program);

}  // namespace wrenfall::monitor

#endif  // WRENFALL_COMPANIONS_MONITOR_COMMAND_LINE_H_
