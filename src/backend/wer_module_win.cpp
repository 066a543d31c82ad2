#include "backend/wer_module_win.h"

// clang-format off
#include <windows.h>
#include <client/crashpad_client.h>
// clang-format on

#include <filesystem>

#include "support/files.h"
#include "support/paths.h"
#include "support/system_library_win.h"
#include "support/text.h"

namespace wrenfall {
namespace {

// Not from advapi32.dll: since Windows 8 these functions are also in this library, which every process
// has loaded.
struct Registry {
  SystemLibrary library{L"kernelbase.dll"};
  decltype(&RegOpenKeyExW) open_key = library.find("RegOpenKeyExW");
  decltype(&RegQueryValueExW) query_value = library.find("RegQueryValueExW");
  decltype(&RegCloseKey) close_key = library.find("RegCloseKey");
};

// Only the name of a value counts; its type and data do not matter.
bool is_allow_listed(const std::filesystem::path& module) {
  const Registry registry;
  HKEY key = nullptr;
  if (!registry.library.is_complete() ||
      registry.open_key(HKEY_LOCAL_MACHINE,
                        L"SOFTWARE\\Microsoft\\Windows\\Windows Error Reporting\\"
                        L"RuntimeExceptionHelperModules",
                        0, KEY_READ, &key) != ERROR_SUCCESS) {
    return false;
  }
  const LSTATUS status =
      registry.query_value(key, module.c_str(), nullptr, nullptr, nullptr, nullptr);
  registry.close_key(key);
  return status == ERROR_SUCCESS;
}

const char* coverage_text(bool covered) {
  if (!covered) return "off (add the DLL path to HKLM RuntimeExceptionHelperModules)";
  return is_wer_kept_away() ? "off (the host's error mode has SEM_NOGPFAULTERRORBOX)" : "on";
}

// Each init makes this call. The system takes only a few registrations of a process, and keeps them until
// its end: a later call may be one too many, and then the first registration still holds.
bool is_registered_after_call(crashpad::CrashpadClient& client, const std::wstring& module) {
  static std::wstring& registered = *new std::wstring;  // used under the lifecycle lock
  if (client.RegisterWerModule(module)) registered = module;
  return registered == module;
}

}  // namespace

bool is_wer_kept_away() { return (GetErrorMode() & SEM_NOGPFAULTERRORBOX) != 0; }

bool register_wer_module(crashpad::CrashpadClient& client, Logger& logger) {
  // Without the library's folder the name alone would mean a file in the current directory.
  const std::filesystem::path folder = library_dir();
  const std::filesystem::path module = folder / kWerModule;
  if (folder.empty() || !path_exists(module)) {
    logger.warn("WrenfallWer.dll not found next to the library; WER coverage disabled");
    return false;
  }
  const bool allow_listed = is_allow_listed(module);
  const bool registered = is_registered_after_call(client, module.wstring());
  const bool coverage = registered && allow_listed;
  logger.info("WER helper %s: registered=%d allow-listed=%d -> coverage %s",
              path_to_utf8(module).c_str(), registered ? 1 : 0, allow_listed ? 1 : 0,
              coverage_text(coverage));
  return coverage;
}

}  // namespace wrenfall
