#include <windows.h>

#include <climits>

#include "support/text.h"

namespace wrenfall {

std::wstring utf8_to_wide(std::string_view text) {
  if (text.empty() || text.size() > INT_MAX) return {};
  const int length = static_cast<int>(text.size());
  const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  if (needed <= 0) return {};
  std::wstring wide(static_cast<size_t>(needed), L'\0');
  const int written = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), needed);
  return written == needed ? wide : std::wstring();
}

std::string wide_to_utf8(std::wstring_view text) {
  if (text.empty() || text.size() > INT_MAX) return {};
  const int length = static_cast<int>(text.size());
  const int needed =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) return {};
  std::string utf8(static_cast<size_t>(needed), '\0');
  const int written =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, utf8.data(), needed, nullptr, nullptr);
  return written == needed ? utf8 : std::string();
}

std::filesystem::path utf8_to_path(std::string_view text) {
  return std::filesystem::path(utf8_to_wide(text));
}

std::string path_to_utf8(const std::filesystem::path& path) { return wide_to_utf8(path.native()); }

}  // namespace wrenfall
