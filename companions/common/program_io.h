#ifndef WRENFALL_COMPANIONS_COMMON_PROGRAM_IO_H_
#define WRENFALL_COMPANIONS_COMMON_PROGRAM_IO_H_

#include <string>
#include <vector>

namespace wrenfall {

// The process's arguments as UTF-8, without the program's name.
std::vector<std::string> program_arguments();

enum class TextStream { kOutput, kError };

// Writes UTF-8 text to the stream that this program was given, else to the console of whoever
// started it, else nowhere. Never opens a console. False when not all of it was written.
bool print_text(TextStream stream, const std::string& text);

// Whether somebody watches what is written to the stream.
bool is_console(TextStream stream);

}  // namespace wrenfall

#endif  // WRENFALL_COMPANIONS_COMMON_PROGRAM_IO_H_
