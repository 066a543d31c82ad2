#include <windows.h>
#include <winternl.h>

#include <cstddef>
#include <string>
#include <system_error>
#include <vector>

#include "monitor/host_program.h"
#include "support/file_times_win.h"
#include "support/open_process_win.h"
#include "support/system_function_win.h"

namespace wrenfall::monitor {
namespace {

constexpr DWORD kMaxPath = 32768;
// A program's command line has at most 32,767 characters, and quoting may double these.
constexpr size_t kMaxCommandLine = 12000;

template <typename Value>
bool read_at(HANDLE process, const void* address, Value& value) {
  SIZE_T read = 0;
  return ReadProcessMemory(process, address, &value, sizeof value, &read) && read == sizeof value;
}

// As the process itself has it in its memory.
std::wstring read_command_line(HANDLE process) {
  using Query = LONG(NTAPI*)(HANDLE, int, void*, ULONG, ULONG*);
  const auto query = find_system_function<Query>(L"ntdll.dll", "NtQueryInformationProcess");
  PROCESS_BASIC_INFORMATION basic{};
  PEB block{};
  RTL_USER_PROCESS_PARAMETERS parameters{};
  if (query == nullptr ||
      query(process, ProcessBasicInformation, &basic, sizeof basic, nullptr) < 0 ||
      !read_at(process, basic.PebBaseAddress, block) ||
      !read_at(process, block.ProcessParameters, parameters)) {
    return {};
  }
  std::wstring text(parameters.CommandLine.Length / sizeof(wchar_t), L'\0');
  SIZE_T read = 0;
  const bool is_read = text.size() <= kMaxCommandLine &&
                       ReadProcessMemory(process, parameters.CommandLine.Buffer, text.data(),
                                         text.size() * sizeof(wchar_t), &read);
  return is_read ? text : std::wstring();
}

}  // namespace

HostProgram read_host_program(const ProcessIdentity& host) {
  HostProgram found;
  const ScopedKernelHandle process =
      open_process(host.process_id, PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_VM_READ);
  if (!process || process_start_time(process.get()) != host.start_time) return found;
  std::wstring program(kMaxPath, L'\0');
  DWORD length = kMaxPath;
  if (QueryFullProcessImageNameW(process.get(), 0, program.data(), &length)) {
    found.program = program.substr(0, length);
  }
  found.command_line = read_command_line(process.get());
  // That of the host when it started this process. A later one of the host may be of its own choice.
  std::error_code unknown;
  found.folder = std::filesystem::current_path(unknown);
  return found;
}

std::vector<std::filesystem::path> reporter_arguments(const std::filesystem::path& folder,
                                                      const HostProgram& host) {
  std::vector<std::filesystem::path> arguments = {folder};
  if (host.program.empty()) return arguments;
  arguments.insert(arguments.end(), {L"--program", host.program});
  if (!host.command_line.empty()) {
    arguments.insert(arguments.end(), {L"--restart", host.command_line});
    if (!host.folder.empty()) arguments.insert(arguments.end(), {L"--restart-in", host.folder});
  }
  return arguments;
}

}  // namespace wrenfall::monitor
