#include "common/command_line.h"

#include <cstddef>
#include <cstdint>

namespace crashpad::internal {
namespace {

using ClientDataField = uint64_t InitialClientData::*;

constexpr ClientDataField kClientDataFields[] = {
    &InitialClientData::section,     &InitialClientData::client_process,
    &InitialClientData::ready,       &InitialClientData::crash_request,
    &InitialClientData::crash_done,  &InitialClientData::dump_request,
    &InitialClientData::dump_done,   &InitialClientData::stop,
    &InitialClientData::wer_request, &InitialClientData::wer_done,
};

constexpr wchar_t kHexDigits[] = L"0123456789abcdef";

// Reads "0x" and 1 to 16 hexadecimal digits at `*position`, and advances it. Fails for 0 too, which is
// no handle.
bool read_handle_value(const std::wstring& text, size_t* position, uint64_t* value) {
  if (text.compare(*position, 2, L"0x") != 0) return false;
  *position += 2;
  const size_t start = *position;
  uint64_t result = 0;
  while (*position < text.size()) {
    const size_t digit = std::wstring(kHexDigits).find(text[*position]);
    if (digit == std::wstring::npos) break;
    if (*position - start == 16) return false;
    result = result << 4 | digit;
    ++*position;
  }
  *value = result;
  return result != 0;
}

// The text after `--name=`; nothing when `argument` is another one.
std::optional<std::wstring> value_of(const std::wstring& argument, const std::wstring& name) {
  const std::wstring prefix = L"--" + name + L"=";
  if (argument.compare(0, prefix.size(), prefix) != 0) return std::nullopt;
  return argument.substr(prefix.size());
}

}  // namespace

void append_argument(const std::wstring& argument, std::wstring* command_line) {
  if (!command_line->empty()) command_line->push_back(L' ');
  if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
    *command_line += argument;
    return;
  }
  command_line->push_back(L'"');
  size_t backslashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'\\') {
      ++backslashes;
      continue;
    }
    // Backslashes must be doubled only in front of a quote.
    command_line->append(c == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
    backslashes = 0;
    command_line->push_back(c);
  }
  command_line->append(2 * backslashes, L'\\');
  command_line->push_back(L'"');
}

std::wstring format_initial_client_data(const InitialClientData& data) {
  std::wstring text;
  for (const ClientDataField field : kClientDataFields) {
    std::wstring digits;
    for (uint64_t rest = data.*field; rest != 0 || digits.empty(); rest >>= 4) {
      digits.insert(digits.begin(), kHexDigits[rest & 15]);
    }
    text += (text.empty() ? L"0x" : L",0x") + digits;
  }
  return text;
}

std::optional<InitialClientData> parse_initial_client_data(const std::wstring& text) {
  InitialClientData data = {};
  size_t position = 0;
  for (const ClientDataField field : kClientDataFields) {
    if (position != 0) {
      if (position >= text.size() || text[position] != L',') return std::nullopt;
      ++position;
    }
    if (!read_handle_value(text, &position, &(data.*field))) return std::nullopt;
  }
  if (position != text.size()) return std::nullopt;
  return data;
}

std::optional<HandlerArguments> parse_handler_arguments(
    const std::vector<std::wstring>& arguments) {
  HandlerArguments result;
  std::optional<InitialClientData> client_data;
  for (const std::wstring& argument : arguments) {
    if (const auto database = value_of(argument, L"database")) {
      result.database = *database;
    } else if (const auto annotation = value_of(argument, L"annotation")) {
      const size_t equals = annotation->find(L'=');
      if (equals == std::wstring::npos) return std::nullopt;
      result.annotations.emplace_back(annotation->substr(0, equals),
                                      annotation->substr(equals + 1));
    } else if (const auto handles = value_of(argument, L"initial-client-data")) {
      client_data = parse_initial_client_data(*handles);
    }
  }
  if (result.database.empty() || !client_data) return std::nullopt;
  result.client_data = *client_data;
  return result;
}

}  // namespace crashpad::internal
