#ifndef WRENFALL_FALLBACK_COMMON_COMMAND_LINE_H_
#define WRENFALL_FALLBACK_COMMON_COMMAND_LINE_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/client_protocol.h"

namespace crashpad::internal {

// Appends one argument, after a blank when `command_line` is not empty, and quotes it so that the
// system's parser reads it back unchanged. The first argument, the program's path, is parsed by simpler
// rules. Both rules agree for a text without quotes, and a path never contains one.
void append_argument(const std::wstring& argument, std::wstring* command_line);

std::wstring format_initial_client_data(const InitialClientData& data);
std::optional<InitialClientData> parse_initial_client_data(const std::wstring& text);

// What the handler understands of its command line. Everything else is ignored.
struct HandlerArguments {
  std::wstring database;
  std::vector<std::pair<std::wstring, std::wstring>> annotations;
  InitialClientData client_data = {};
};

// `arguments` without the program's path. Nothing when the database or usable client data is
// missing, or an annotation has no "=".
std::optional<HandlerArguments> parse_handler_arguments(const std::vector<std::wstring>& arguments);

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_COMMON_COMMAND_LINE_H_
