// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include "common/open_folder.h"
#include "support/system_library_win.h"

namespace wrenfall {
namespace {

// ShellExecute returns an error up to this value, and success above it.
constexpr INT_PTR kLargestShellError = 32;

// Loaded when it is needed: it makes the start of a program slow.
struct Shell {
  SystemLibrary library{L"shell32.dll"};
  decltype(&ShellExecuteW) execute = library.find("ShellExecuteW");
};

}  // namespace

bool open_folder(const std::filesystem::path& folder) {
  const Shell shell;
  // Without the separator the system could start a program "<folder>.exe" that lies beside it.
  return shell.execute != nullptr && reinterpret_cast<INT_PTR>(shell.execute(
                                         nullptr, L"open", (folder.native() + L"\\").c_str(),
                                         nullptr, nullptr, SW_SHOWNORMAL)) > kLargestShellError;
}

}  // namespace wrenfall
