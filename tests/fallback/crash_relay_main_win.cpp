// Stands between client and handler: starts the crashpad_handler.exe beside itself with its own
// command line and everything it inherited, and ends when that ends, with its exit code.

#include <windows.h>

#include <string>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
  wchar_t own_path[32768] = {};
  GetModuleFileNameW(nullptr, own_path, 32768);
  std::wstring handler = own_path;
  handler.replace(handler.rfind(L'\\') + 1, std::wstring::npos, L"crashpad_handler.exe");
  std::wstring command_line = GetCommandLineW();

  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process = {};
  if (!CreateProcessW(handler.c_str(), command_line.data(), nullptr, nullptr, TRUE,
                      CREATE_NO_WINDOW, nullptr, nullptr, &startup, &process)) {
    return 90;
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD exit_code = 91;
  GetExitCodeProcess(process.hProcess, &exit_code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return static_cast<int>(exit_code);
}
