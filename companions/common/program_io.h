#ifndef WRENFALL_COMPANIONS_COMMON_PROGRAM_IO_H_
#define WRENFALL_COMPANIONS_COMMON_PROGRAM_IO_H_

#include <string>
#include <vector>

namespace wrenfall {

// The process's arguments as UTF-8, without the program's name. For programs that begin with wmain or
// wWinMain.
std::vector<std::string> program_arguments();

enum class TextStream { kOutput, kError };

// Writes UTF-8 text to the stream that this program was given. Without one it writes to the console
// of the process that started it; without that, nowhere. Never opens a console. False when not all
// of the text was written.
bool print_text(TextStream stream, const std::string& text);

// Whether the stream is a console, where a person can see the text.
bool is_console(TextStream stream);

}  // namespace wrenfall

#endif  // WRENFALL_COMPANIONS_COMMON_PROGRAM_IO_H_
