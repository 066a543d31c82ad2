#include <windows.h>

#include "backend/platform_facts.h"
#include "support/system_function_win.h"

namespace wrenfall {
namespace {

constexpr char kLibraryArchitecture[] = "x64";  // the only one that the build lets through

// Unlike GetVersionEx, this function tells the real version whatever the host's manifest says.
using RtlGetVersionFunction = LONG(WINAPI*)(RTL_OSVERSIONINFOEXW*);

}  // namespace

PlatformFacts query_platform_facts() {
  SystemVersion system;
  const auto get_version =
      find_system_function<RtlGetVersionFunction>(L"ntdll.dll", "RtlGetVersion");
  RTL_OSVERSIONINFOEXW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (get_version != nullptr && get_version(&version) == 0) {
    system.major = version.dwMajorVersion;
    system.minor = version.dwMinorVersion;
    system.build = version.dwBuildNumber;
    system.product_type = version.wProductType;
  }
  SYSTEM_INFO machine{};
  GetNativeSystemInfo(&machine);
  system.native_architecture = machine.wProcessorArchitecture;
  return platform_facts(system, kLibraryArchitecture);
}

bool is_system_new_enough() {
  // It came with version 1607; kernel32.dll has it only since the one after that.
  return find_system_function<void*>(L"kernelbase.dll", "SetThreadDescription") != nullptr;
}

}  // namespace wrenfall
