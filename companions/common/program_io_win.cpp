// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <memory>

#include "common/program_io.h"
#include "support/text.h"
#include "support/win_handle.h"

namespace wrenfall {
namespace {

struct LocalDeleter {
  void operator()(wchar_t** memory) const { LocalFree(memory); }
};

void write_to(HANDLE file, const std::string& text) {
  DWORD mode = 0;
  DWORD written = 0;
  if (GetConsoleMode(file, &mode)) {
    const std::wstring wide = utf8_to_wide(text);
    WriteConsoleW(file, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
  } else {
    WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  }
}

}  // namespace

std::vector<std::string> program_arguments() {
  int count = 0;
  const std::unique_ptr<wchar_t*, LocalDeleter> arguments(
      CommandLineToArgvW(GetCommandLineW(), &count));
  std::vector<std::string> texts;
  for (int i = 1; arguments && i < count; ++i) texts.push_back(wide_to_utf8(arguments.get()[i]));
  return texts;
}

void print_text(TextStream stream, const std::string& text) {
  const HANDLE given =
      GetStdHandle(stream == TextStream::kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
  if (given != nullptr && given != INVALID_HANDLE_VALUE &&
      GetFileType(given) != FILE_TYPE_UNKNOWN) {
    write_to(given, text);
    return;
  }
  if (!AttachConsole(ATTACH_PARENT_PROCESS)) return;
  const ScopedFile console(CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                       0, nullptr));
  if (console) write_to(console.get(), text);
}

}  // namespace wrenfall
