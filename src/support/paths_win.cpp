// clang-format off
#include <windows.h>
#include <knownfolders.h>
#include <objbase.h>
#include <shlobj.h>
// clang-format on

#include <memory>
#include <system_error>

#include "support/files.h"
#include "support/paths.h"
#include "support/system_library_win.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// Only hosts that name no store need these.
struct KnownFolders {
  SystemLibrary shell32{L"shell32.dll"};
  decltype(&SHGetKnownFolderPath) get_path = shell32.find("SHGetKnownFolderPath");
  SystemLibrary ole32{L"ole32.dll"};
  decltype(&CoTaskMemFree) free_memory = ole32.find("CoTaskMemFree");
};

// The file name of a module, however long.
fs::path module_path(HMODULE module) {
  std::wstring buffer(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        GetModuleFileNameW(module, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0) return {};
    if (length < buffer.size()) {
      buffer.resize(length);
      return buffer;
    }
    buffer.resize(buffer.size() * 2);
  }
}

fs::path temporary_dir() {
  std::wstring buffer(MAX_PATH + 1, L'\0');
  DWORD length = GetTempPathW(static_cast<DWORD>(buffer.size()), buffer.data());
  if (length > buffer.size()) {
    buffer.resize(length);
    length = GetTempPathW(static_cast<DWORD>(buffer.size()), buffer.data());
  }
  buffer.resize(length);
  if (length != 0 && is_folder(buffer)) return buffer;
  throw fs::filesystem_error("temp_directory_path", buffer,
                             std::make_error_code(std::errc::not_a_directory));
}

}  // namespace

fs::path application_path() { return module_path(nullptr); }

fs::path application_dir() { return application_path().parent_path(); }

fs::path library_dir() {
  HMODULE module = nullptr;
  const auto address = reinterpret_cast<LPCWSTR>(&module_path);
  if (!GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          address, &module)) {
    return {};
  }
  return module_path(module).parent_path();
}

fs::path local_data_dir() {
  const KnownFolders system;
  if (!system.shell32.is_complete() || !system.ole32.is_complete()) return temporary_dir();
  PWSTR raw = nullptr;
  const HRESULT result = system.get_path(FOLDERID_LocalAppData, KF_FLAG_CREATE, nullptr, &raw);
  // The memory is to be freed also when the call failed.
  const std::unique_ptr<wchar_t, decltype(system.free_memory)> folder(raw, system.free_memory);
  if (SUCCEEDED(result) && folder) return folder.get();
  return temporary_dir();
}

}  // namespace wrenfall
