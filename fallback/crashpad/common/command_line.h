#ifndef WRENFALL_FALLBACK_COMMON_COMMAND_LINE_H_
#define WRENFALL_FALLBACK_COMMON_COMMAND_LINE_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/client_protocol.h"

namespace crashpad::internal {

// Appends one argument, after a blank when `command_line` is not empty, quoted so that the system's
// command line parser gives it back unchanged. The program's own path, the first argument, is split
// by simpler rules, which agree as long as it holds no quote; a path never does.
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
