#include "support/system_path_win.h"

#include <windows.h>

#include <string_view>

namespace wrenfall {
namespace {

// The system adds a short name of 12 characters to that of a new folder before it checks the length.
constexpr size_t kLongestShortPath = MAX_PATH - 1 - 12;

bool starts_with(std::wstring_view text, std::wstring_view start) {
  return text.substr(0, start.size()) == start;
}

// Empty when the system cannot say.
std::wstring full_path(const std::wstring& path) {
  std::wstring full(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    const bool fits = length < full.size();
    full.resize(length);
    if (fits) return full;
  }
}

}  // namespace

std::wstring extended_path(const std::wstring& full) {
  if (starts_with(full, LR"(\\?\)") || starts_with(full, LR"(\\.\)")) return full;
  if (starts_with(full, LR"(\\)")) return LR"(\\?\UNC)" + full.substr(1);
  return full.size() > 2 && full[1] == L':' ? LR"(\\?\)" + full : full;
}

std::wstring system_path(const std::filesystem::path& path) { return system_folder(path, 0); }

std::wstring system_folder(const std::filesystem::path& path, size_t longest_name) {
  const auto is_short = [longest_name](const std::wstring& text) {
    return text.size() + longest_name <= kLongestShortPath;
  };
  const std::wstring& given = path.native();
  if ((is_short(given) && path.is_absolute()) || starts_with(given, LR"(\\?\)")) return given;
  // A relative path is short only together with the current folder.
  const std::wstring full = full_path(given);
  return is_short(full) ? given : extended_path(full);
}

}  // namespace wrenfall
