#include "support/command_line.h"

namespace wrenfall {

std::wstring quote_argument(std::wstring_view argument) {
  std::wstring quoted = L"\"";
  size_t backslashes = 0;
  for (const wchar_t c : argument) {
    // A backslash is an ordinary character, except in front of a quote, where it must be doubled.
    if (c == L'"') quoted.append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    quoted.push_back(c);
  }
  quoted.append(backslashes, L'\\');
  quoted.push_back(L'"');
  return quoted;
}

std::wstring with_program(std::wstring_view command_line, std::wstring_view program) {
  // The first argument has rules of its own: a quoted one ends at the next quote, and backslashes are
  // ordinary characters.
  size_t end = std::wstring_view::npos;
  if (!command_line.empty() && command_line.front() == L'"') {
    end = command_line.find(L'"', 1);
    if (end != std::wstring_view::npos) ++end;
  } else {
    end = command_line.find_first_of(L" \t");
  }
  std::wstring replaced = L"\"";
  replaced.append(program).push_back(L'"');
  if (end != std::wstring_view::npos) replaced.append(command_line.substr(end));
  return replaced;
}

}  // namespace wrenfall
