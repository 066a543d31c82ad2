#include <windows.h>

#include <algorithm>
#include <cstdlib>

#include "common/program_io.h"
#include "support/text.h"
#include "support/win_handle.h"

namespace wrenfall {
namespace {

// A console refuses longer texts in one call.
constexpr size_t kConsolePiece = 8192;

bool write_to_console(HANDLE console, const std::wstring& text) {
  for (size_t done = 0; done < text.size();) {
    const size_t piece = std::min(kConsolePiece, text.size() - done);
    DWORD written = 0;
    if (!WriteConsoleW(console, text.data() + done, static_cast<DWORD>(piece), &written, nullptr) ||
        written == 0) {
      return false;
    }
    done += written;
  }
  return true;
}

bool write_to(HANDLE file, const std::string& text) {
  DWORD mode = 0;
  if (GetConsoleMode(file, &mode)) return write_to_console(file, utf8_to_wide(text));
  DWORD written = 0;
  return WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
         written == text.size();
}

HANDLE handle_of(TextStream stream) {
  return GetStdHandle(stream == TextStream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

}  // namespace

std::vector<std::string> program_arguments() {
  // As the C runtime split them, by the rules of CommandLineToArgvW: to load shell32.dll for that
  // function would take longer than the rest of the program's start.
  std::vector<std::string> texts;
  for (int i = 1; i < __argc; ++i) texts.push_back(wide_to_utf8(__wargv[i]));
  return texts;
}

bool print_text(TextStream stream, const std::string& text) {
  const HANDLE given = handle_of(stream);
  if (given != nullptr && given != INVALID_HANDLE_VALUE &&
      GetFileType(given) != FILE_TYPE_UNKNOWN) {
    return write_to(given, text);
  }
  if (!AttachConsole(ATTACH_PARENT_PROCESS)) return false;
  const ScopedFile console(CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                       0, nullptr));
  return console && write_to(console.get(), text);
}

bool is_console(TextStream stream) {
  DWORD mode = 0;
  return GetConsoleMode(handle_of(stream), &mode) != FALSE;
}

}  // namespace wrenfall
